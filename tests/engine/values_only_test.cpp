// Copies that keep values where formulas reach outside the sheet.

#include "ooxml_fixture.h"

#include "excel/Document.h"
#include "excel/ooxml/OutsideReach.h"

#include <gtest/gtest.h>

using namespace ooxml_test;
using excel::ooxml::OutsideReach;

namespace {

std::unique_ptr<excel::Document> open(const std::string& rel)
{
    return excel::openDocument(source(readFile(dataPath(rel))), dataPath(rel));
}

excel::CopySource valuesOf(const std::string& name) { return {"/x/" + name, name, true}; }

bool hasLink(const std::map<std::string, std::string>& parts)
{
    for (const auto& [name, text] : parts)
        if (name.find("externalLink") != std::string::npos || text.find("externalReference") != std::string::npos)
            return true;
    return false;
}

}  // namespace

TEST(OutsideReach, OtherSheetsBooksTablesAndTheNamesThatReachThem)
{
    OutsideReach reach({"Data", "Calc"}, "Calc", {"Mine"},
                       {{"Rate", "Data!$D$1", false},
                        {"Twice", "Rate*2", false},
                        {"Here", "Calc!$A$1", false},
                        {"Loop", "Loop+1", false},
                        {"Shadow", "Data!A1", false},
                        {"Shadow", "$B$1", true},
                        {"Step", "Here+1", true}});
    struct Case {
        const char* formula;
        bool outside;
    } cases[] = {
        {"A1*2", false},          {"Calc!A1+'calc'!B2", false}, {"Data!A1", true},
        {"SUM(Data:Calc!A1)", true}, {"[2]Other!A1", true},     {"Rate", true},
        {"Twice+1", true},        {"Here", false},              {"Step", false},
        {"Loop", false},          {"Shadow", false},            {"Mine[X]", false},
        {"Sales[X]", true},       {"[0]!Rate", true},           {"Calc!Rate", true},
        {"\"Data!A1\"&A1", false}, {"SUM(A:A)+TRUE", false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(reach.formula(c.formula), c.outside) << c.formula;
    std::set<std::string> used;
    reach.formula("Twice+Here", &used);
    EXPECT_EQ(used, (std::set<std::string>{"twice", "here"}));
}

TEST(ValuesOnly, FormulasReachingOutsideBecomeTypedValuesAndTheRestStays)
{
    auto doc = open("crossref.xlsx");
    auto copy = doc->copyWorksheet(2, valuesOf("crossref.xlsx"));
    const auto parts = partsOf(*copy);
    const auto& sheet = parts.at("xl/worksheets/sheet3.xml");
    EXPECT_NE(sheet.find("<c r=\"A1\"><v>6</v></c>"), std::string::npos) << sheet;
    EXPECT_NE(sheet.find("<c r=\"A4\" t=\"inlineStr\"><is><t>item0!x</t></is></c>"), std::string::npos) << sheet;
    EXPECT_NE(sheet.find("<c r=\"A5\"><v>1.5</v></c>"), std::string::npos) << sheet;  // through the name Rate
    EXPECT_NE(sheet.find("<f>Local+1</f>"), std::string::npos) << sheet;           // inside the sheet
    EXPECT_EQ(sheet.find("Data!"), std::string::npos) << sheet;
    EXPECT_EQ(sheet.find("dataValidation"), std::string::npos) << sheet;
    EXPECT_EQ(sheet.find("conditionalFormatting"), std::string::npos) << sheet;
    const auto& wb = parts.at("xl/workbook.xml");
    EXPECT_NE(wb.find("name=\"Local\""), std::string::npos) << wb;
    EXPECT_EQ(wb.find("Rate"), std::string::npos) << wb;
    const auto r = copy->valuesReport();
    EXPECT_EQ(r.formulas, 9u + 3u);  // and the chart's series name, categories and values
    EXPECT_EQ(r.names, 1u);
    EXPECT_EQ(r.validations, 1u);
    EXPECT_EQ(r.conditionalFormats, 1u);
    // The chart keeps what it showed as literal data; its series on this sheet stays.
    const auto& chart = parts.at("xl/charts/chart1.xml");
    EXPECT_EQ(chart.find("Data!"), std::string::npos) << chart;
    EXPECT_NE(chart.find("<c:tx><c:v>item0</c:v></c:tx>"), std::string::npos) << chart;
    EXPECT_NE(chart.find("<c:cat><c:strLit><c:ptCount val=\"5\"/><c:pt idx=\"0\"><c:v>item0</c:v></c:pt>"),
              std::string::npos) << chart;
    EXPECT_NE(chart.find("<c:val><c:numLit>"), std::string::npos) << chart;
    EXPECT_NE(chart.find("<c:f>Calc!$A$1:$A$5</c:f>"), std::string::npos) << chart;
    EXPECT_FALSE(hasLink(parts));
}

TEST(ValuesOnly, AStandAloneCopyHasNoLinkAndAnUncachedFormulaKeepsIt)
{
    auto doc = open("wholecol_xw.xlsx");
    auto copy = doc->copyWorksheet(1, valuesOf("wholecol_xw.xlsx"));
    auto parts = partsOf(*copy);
    EXPECT_FALSE(hasLink(parts));
    const auto& sheet = parts.at("xl/worksheets/sheet2.xml");
    EXPECT_NE(sheet.find("<f>B1+B2</f>"), std::string::npos) << sheet;
    EXPECT_NE(sheet.find("<c r=\"B8\" t=\"b\"><v>1</v></c>"), std::string::npos) << sheet;
    EXPECT_NE(sheet.find("<c r=\"B9\" t=\"e\"><v>#DIV/0!</v></c>"), std::string::npos) << sheet;
    EXPECT_NE(sheet.find("sqref=\"D2\""), std::string::npos) << sheet;  // a list on the sheet itself stays
    EXPECT_NE(sheet.find("A1&gt;3"), std::string::npos) << sheet;

    // openpyxl caches nothing: every formula stays, linked as without --values.
    auto op = open("tables_op.xlsx");
    auto opCopy = op->copyWorksheet(1, valuesOf("tables_op.xlsx"));
    parts = partsOf(*opCopy);
    EXPECT_TRUE(hasLink(parts));
    EXPECT_NE(parts.at("xl/worksheets/sheet2.xml").find("<f>SUM([1]Sales!$C$3:$C$6)</f>"), std::string::npos);
    EXPECT_EQ(opCopy->valuesReport().formulas, 0u);
    EXPECT_EQ(opCopy->valuesReport().names, 0u);
}

TEST(ValuesOnly, ASharedFormulaGoesOrStaysWhole)
{
    const std::string ns = "xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/main\"";
    auto withSheet = [&](const std::string& data) {
        return source(zipOf(replaced(minimalWorkbook(), "xl/worksheets/sheet1.xml",
                                     "<worksheet " + ns + "><sheetData>" + data + "</sheetData></worksheet>")));
    };
    const std::string group =
        "<row r=\"1\"><c r=\"B1\"><f t=\"shared\" ref=\"B1:B3\" si=\"0\">'Two &amp; more'!A1*2</f><v>14</v></c></row>"
        "<row r=\"2\"><c r=\"B2\"><f t=\"shared\" si=\"0\"/><v>0</v></c></row>";
    auto all = excel::openDocument(withSheet(group + "<row r=\"3\"><c r=\"B3\"><f t=\"shared\" si=\"0\"/><v>2</v></c></row>"),
                                   "shared.xlsx");
    auto copy = all->copyWorksheet(0, valuesOf("shared.xlsx"));
    auto sheet = partsOf(*copy).at("xl/worksheets/sheet1.xml");
    EXPECT_EQ(sheet.find("<f"), std::string::npos) << sheet;
    EXPECT_NE(sheet.find("<c r=\"B3\"><v>2</v></c>"), std::string::npos) << sheet;
    EXPECT_EQ(copy->valuesReport().formulas, 3u);

    // One cell without a value: the group keeps its formulas, and its link.
    auto some = excel::openDocument(withSheet(group + "<row r=\"3\"><c r=\"B3\"><f t=\"shared\" si=\"0\"/></c></row>"),
                                    "shared.xlsx");
    copy = some->copyWorksheet(0, valuesOf("shared.xlsx"));
    const auto parts = partsOf(*copy);
    sheet = parts.at("xl/worksheets/sheet1.xml");
    EXPECT_NE(sheet.find("<f t=\"shared\" ref=\"B1:B3\" si=\"0\">'[1]Two &amp; more'!A1*2</f>"), std::string::npos)
        << sheet;
    EXPECT_TRUE(hasLink(parts));
    EXPECT_EQ(copy->valuesReport().formulas, 0u);
}
