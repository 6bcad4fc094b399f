// What a split's sheet selection asks of a worksheet before copying it: is it
// hidden, and does it hold anything. Checked on files Excel and LibreOffice
// wrote, and across the two formats of the same workbook.

#include "excel/Application.h"
#include "excel/Workbook.h"
#include "excel/Workbooks.h"
#include "excel/Worksheets.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace {

using excel::SheetVisibility;

struct Facts {
    SheetVisibility visible;
    bool content;
    bool operator==(const Facts&) const = default;
};

std::map<std::string, Facts> factsOf(const std::string& file)
{
    excel::Application app;
    auto book = app.GetWorkbooks().Open(file);
    std::map<std::string, Facts> out;
    for (const auto& s : book->Worksheets().all())
        out[s.Name()] = {s.Visible(), s.HasContent()};
    book->Close(false);
    return out;
}

const std::string xlsx = std::string(TB_TEST_DATA) + "/xlsx/";
const std::string xls = std::string(TB_TEST_DATA) + "/xls/lo/";

TEST(SheetFacts, HiddenAndVeryHiddenTabsAreTold)
{
    const auto hidden = factsOf(xlsx + "hide01.xlsx");
    EXPECT_EQ(hidden.at("Sheet1").visible, SheetVisibility::Visible);
    EXPECT_EQ(hidden.at("Sheet2").visible, SheetVisibility::Hidden);
    EXPECT_EQ(factsOf(xlsx + "hide02.xlsx").at("Sheet2").visible, SheetVisibility::VeryHidden);
    EXPECT_EQ(factsOf(xls + "hide01.xls").at("Sheet2").visible, SheetVisibility::Hidden);
}

TEST(SheetFacts, ContentIsValuesFormulasMergesAndDrawnThingsNotFormatsOrBackgrounds)
{
    const auto crossref = factsOf(xlsx + "crossref.xlsx");
    EXPECT_TRUE(crossref.at("Data").content);
    EXPECT_FALSE(crossref.at("Empty").content);
    const auto comments = factsOf(xlsx + "comment05.xlsx");  // comments on otherwise empty sheets
    EXPECT_TRUE(comments.at("Sheet1").content);
    EXPECT_FALSE(comments.at("Sheet2").content);
    EXPECT_TRUE(factsOf(xlsx + "chart_column06.xlsx").at("Sheet2").content);  // a chart alone
    EXPECT_TRUE(factsOf(xlsx + "image07.xlsx").at("Sheet2").content);          // a picture alone
    EXPECT_TRUE(factsOf(xlsx + "textbox03.xlsx").at("Sheet1").content);        // a shape alone
    EXPECT_FALSE(factsOf(xlsx + "background04.xlsx").at("Sheet1").content);    // a background picture
}

// LibreOffice saved these .xls files from the .xlsx files beside them: every
// sheet must come out the same in both formats.
TEST(SheetFacts, BothFormatsOfOneWorkbookAgree)
{
    for (const char* name : {"chart_bar02", "comment04", "hide01", "image07", "textbox03", "simple02", "repeat05",
                             "defined_name01", "selection02"}) {
        SCOPED_TRACE(name);
        const auto a = factsOf(xlsx + name + ".xlsx");
        const auto b = factsOf(xls + name + ".xls");
        EXPECT_EQ(a, b);
    }
}

// Gnumeric wrote the Excel 5.0/95 file from the .xlsx; xlrd's Excel 4.0
// sheet file holds cells.
TEST(SheetFacts, OlderExcelFilesAreToldTheSameWay)
{
    const std::string old = std::string(TB_TEST_DATA) + "/xls/";
    EXPECT_EQ(factsOf(old + "biff5/hide95.xls"), factsOf(xlsx + "hide01.xlsx"));
    EXPECT_TRUE(factsOf(old + "biff5/crossref95.xls").at("Data").content);
    const auto sheetFile = factsOf(old + "biff4/biff4_sheet.xls");
    ASSERT_EQ(sheetFile.size(), 1u);
    EXPECT_EQ(sheetFile.begin()->second, (Facts{SheetVisibility::Visible, true}));
}

TEST(SheetFacts, ACopyIsOneVisibleSheetInTheFormatItIsSavedIn)
{
    excel::Application app;
    for (const std::string file : {xlsx + "hide01.xlsx", xls + "hide01.xls"}) {
        app.GetWorkbooks().Open(file);
        app.ActiveWorkbook()->Worksheets().Item("Sheet2").Copy();
        const auto copy = app.ActiveWorkbook();
        EXPECT_EQ(copy->document().fileExtension(), file.substr(file.rfind('.') + 1));
        EXPECT_EQ(copy->Worksheets().Item(1).Visible(), SheetVisibility::Visible);
        copy->Close(false);
        app.ActiveWorkbook()->Close(false);
    }
}

}  // namespace
