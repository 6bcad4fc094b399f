// One-sheet copies, compared part by part.

#include "ooxml_fixture.h"

#include "excel/Document.h"
#include "platform/sys/Error.h"

#include <gtest/gtest.h>

using namespace ooxml_test;

namespace {

std::unique_ptr<excel::Document> open(const std::string& rel)
{
    return excel::openDocument(source(readFile(dataPath(rel))), dataPath(rel));
}

std::size_t count(const std::string& hay, const std::string& needle)
{
    std::size_t n = 0;
    for (auto at = hay.find(needle); at != std::string::npos; at = hay.find(needle, at + 1))
        ++n;
    return n;
}

std::size_t indexOf(const excel::Document& d, const std::string& name)
{
    const auto& n = d.worksheetNames();
    return static_cast<std::size_t>(std::find(n.begin(), n.end(), name) - n.begin());
}

}  // namespace

TEST(OoxmlCopy, SharedStringsArePrunedAndRenumbered)
{
    auto doc = excel::openDocument(source(zipOf(minimalWorkbook())), "/in/min.xlsx");
    auto copy = doc->copyWorksheet(1, {"/in/min.xlsx", "min.xlsx"});
    EXPECT_EQ(copy->worksheetNames(), std::vector<std::string>{"Two & more"});
    auto parts = partsOf(*copy);
    const auto& sst = parts.at("xl/sharedStrings.xml");
    EXPECT_NE(sst.find("count=\"1\" uniqueCount=\"1\""), std::string::npos) << sst;
    EXPECT_NE(sst.find("<t xml:space=\"preserve\"> one </t>"), std::string::npos) << sst;
    EXPECT_EQ(sst.find("zero"), std::string::npos);
    const auto& sheet = parts.at("xl/worksheets/sheet2.xml");
    EXPECT_NE(sheet.find("<c r=\"B1\" t=\"s\"><v>0</v></c>"), std::string::npos) << sheet;
    EXPECT_FALSE(parts.count("xl/worksheets/sheet1.xml"));
    // The one sheet is visible, first, active and selected.
    const auto& wb = parts.at("xl/workbook.xml");
    EXPECT_EQ(count(wb, "<sheet "), 1u);
    EXPECT_EQ(wb.find("hidden"), std::string::npos) << wb;
    EXPECT_EQ(wb.find("activeTab"), std::string::npos) << wb;
    EXPECT_NE(sheet.find("tabSelected=\"1\""), std::string::npos) << sheet;
}

TEST(OoxmlCopy, RichTextStringsKeepTheirRuns)
{
    auto doc = excel::openDocument(source(zipOf(minimalWorkbook())), "/in/min.xlsx");
    auto parts = partsOf(*doc->copyWorksheet(0, {"/in/min.xlsx", "min.xlsx"}));
    EXPECT_NE(parts.at("xl/sharedStrings.xml").find("<si><r><t>tw</t></r><r><t>o</t></r></si>"), std::string::npos);
}

TEST(OoxmlCopy, CrossSheetReferencesBecomeALinkToTheSourceWithCachedValues)
{
    auto doc = excel::openDocument(source(zipOf(minimalWorkbook())), "/in/min book.xlsx");
    auto parts = partsOf(*doc->copyWorksheet(0, {"/in/min book.xlsx", "min book.xlsx"}));
    EXPECT_NE(parts.at("xl/worksheets/sheet1.xml").find("<f>'[1]Two &amp; more'!A1*2</f><v>14</v>"), std::string::npos)
        << parts.at("xl/worksheets/sheet1.xml");
    const auto& link = parts.at("xl/externalLinks/externalLink1.xml");
    EXPECT_NE(link.find("<sheetName val=\"Two &amp; more\"/>"), std::string::npos) << link;
    EXPECT_NE(link.find("<sheetData sheetId=\"1\"><row r=\"1\"><cell r=\"A1\"><v>7</v></cell></row></sheetData>"),
              std::string::npos)
        << link;
    EXPECT_NE(parts.at("xl/externalLinks/_rels/externalLink1.xml.rels").find("Target=\"file:///in/min%20book.xlsx\""),
              std::string::npos);
    EXPECT_NE(parts.at("xl/workbook.xml").find("<externalReferences><externalReference r:id="), std::string::npos);
    EXPECT_NE(parts.at("xl/_rels/workbook.xml.rels").find("externalLinks/externalLink1.xml"), std::string::npos);
    EXPECT_NE(parts.at("[Content_Types].xml").find("/xl/externalLinks/externalLink1.xml"), std::string::npos);
}

TEST(OoxmlCopy, NamesAreRescopedFilteredAndExternalized)
{
    auto doc = open("crossref.xlsx");
    auto parts = partsOf(*doc->copyWorksheet(indexOf(*doc, "Calc"), {"/x/crossref.xlsx", "crossref.xlsx"}));
    const auto& wb = parts.at("xl/workbook.xml");
    EXPECT_NE(wb.find("<definedName name=\"Local\" localSheetId=\"0\">Calc!$A$1</definedName>"), std::string::npos) << wb;
    EXPECT_NE(wb.find("<definedName name=\"Rate\">[1]Data!$D$1</definedName>"), std::string::npos) << wb;
    EXPECT_EQ(wb.find("Unused"), std::string::npos) << wb;
    EXPECT_EQ(wb.find("OnData"), std::string::npos) << wb;
    const auto& sheet = parts.at("xl/worksheets/sheet3.xml");
    for (const char* f : {"<f>[1]Data!A1*2</f>", "<f>'[1]It''s other'!A2+1</f>", "SUM([1]Data!A1:A3*2)",
                          "<f>SUM('[1]Data:It''s other'!A1)</f>", "<f>SUM([1]Data!$G$2:$G$4)</f>", "<f>Local+1</f>",
                          "<formula1>[1]Data!$B$1:$B$5</formula1>", "<formula>A1&gt;[1]Data!$A$1</formula>",
                          "\"Sheet2!A1\""})
        EXPECT_NE(sheet.find(f), std::string::npos) << f;
    const auto& chart = parts.at("xl/charts/chart1.xml");
    EXPECT_NE(chart.find("<c:f>[1]Data!$A$1:$A$5</c:f>"), std::string::npos);
    EXPECT_NE(chart.find("<c:f>Calc!$A$1:$A$5</c:f>"), std::string::npos);
    // The cells the formulas read, on both sheets they reach.
    const auto& link = parts.at("xl/externalLinks/externalLink1.xml");
    EXPECT_NE(link.find("<cell r=\"B1\" t=\"str\"><v>item0</v></cell>"), std::string::npos) << link;
    EXPECT_NE(link.find("<sheetData sheetId=\"1\"><row r=\"1\"><cell r=\"A1\"><v>30</v></cell>"), std::string::npos)
        << link;
    // The table's column, read as the range it stands for.
    EXPECT_NE(link.find("<cell r=\"G4\"><v>4</v></cell>"), std::string::npos) << link;
}

TEST(OoxmlCopy, ASheetWithoutOutsideReferencesGetsNoLink)
{
    auto doc = open("crossref.xlsx");
    auto parts = partsOf(*doc->copyWorksheet(indexOf(*doc, "Data"), {"/x/crossref.xlsx", "crossref.xlsx"}));
    for (const auto& [name, text] : parts)
        EXPECT_EQ(name.find("externalLink"), std::string::npos) << name;
    EXPECT_NE(parts.at("xl/workbook.xml").find("name=\"OnData\" localSheetId=\"0\""), std::string::npos);
    EXPECT_TRUE(parts.count("xl/tables/table1.xml"));
}

TEST(OoxmlCopy, MacrosAndCalcChainAreDroppedAndTheTypeIsPlain)
{
    auto doc = open("single/macro01.xlsm");
    auto parts = partsOf(*doc->copyWorksheet(0, {"/x/macro01.xlsm", "macro01.xlsm"}));
    for (const auto& [name, text] : parts) {
        EXPECT_EQ(name.find("vbaProject"), std::string::npos) << name;
        EXPECT_EQ(name.find("calcChain"), std::string::npos) << name;
    }
    const auto& types = parts.at("[Content_Types].xml");
    EXPECT_EQ(types.find("macroEnabled"), std::string::npos) << types;
    EXPECT_EQ(types.find("vbaProject"), std::string::npos) << types;
    EXPECT_NE(types.find("spreadsheetml.sheet.main+xml"), std::string::npos);
    EXPECT_EQ(parts.at("xl/_rels/workbook.xml.rels").find("vbaProject"), std::string::npos);
}

TEST(OoxmlCopy, EveryPartTheSheetReachesComesAlong)
{
    struct Case {
        const char* file;
        const char* sheet;
        std::vector<const char*> parts;
    } cases[] = {
        {"comment04.xlsx", "Sheet3", {"xl/comments2.xml", "xl/drawings/vmlDrawing2.vml"}},
        {"table02.xlsx", "Sheet1", {"xl/tables/table1.xml", "xl/tables/table2.xml"}},
        {"chart_bar02.xlsx", "Sheet2", {"xl/drawings/drawing1.xml", "xl/charts/chart1.xml"}},
        {"image07.xlsx", "Sheet2", {"xl/media/image2.png"}},
    };
    for (const auto& c : cases) {
        auto doc = open(c.file);
        auto parts = partsOf(*doc->copyWorksheet(indexOf(*doc, c.sheet), {c.file, c.file}));
        for (const char* p : c.parts)
            EXPECT_TRUE(parts.count(p)) << c.file << ": " << p;
        const auto& types = parts.at("[Content_Types].xml");
        for (const auto& [name, text] : parts) {
            if (name == "[Content_Types].xml" || name.ends_with(".rels") || name.ends_with(".xml"))
                continue;
            const auto ext = name.substr(name.rfind('.') + 1);
            EXPECT_TRUE(types.find("Extension=\"" + ext + "\"") != std::string::npos ||
                        types.find("/" + name + "\"") != std::string::npos)
                << c.file << ": " << name << " has no content type";
        }
    }
}

TEST(OoxmlCopy, ACopyCanBeCopiedAgain)
{
    auto doc = open("crossref.xlsx");
    auto first = doc->copyWorksheet(indexOf(*doc, "Calc"), {"/x/crossref.xlsx", "crossref.xlsx"});
    auto second = first->copyWorksheet(0, {"Book1", "Book1"});
    EXPECT_EQ(second->worksheetNames(), std::vector<std::string>{"Calc"});
    auto parts = partsOf(*second);
    EXPECT_NE(parts.at("xl/worksheets/sheet3.xml").find("<f>[1]Data!A1*2</f>"), std::string::npos);
}

TEST(OoxmlCopy, SavingTheSourceWritesEveryEntryUnchanged)
{
    const auto bytes = readFile(dataPath("comment04.xlsx"));
    auto doc = excel::openDocument(source(bytes), "comment04.xlsx");
    auto saved = partsOf(*doc);
    excel::zip::ZipReader original(source(bytes), "comment04.xlsx");
    ASSERT_EQ(saved.size(), original.entries().size());
    for (const auto& e : original.entries())
        EXPECT_EQ(saved.at(e.name), original.read(e)) << e.name;
}
