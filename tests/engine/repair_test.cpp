// Damaged workbooks that other readers open: each kind of damage in
// tests/data/repair is read past, every sheet copies into a workbook that
// opens again clean, and the repair is said once, in one sentence. Nothing
// hostile is carried forward: no copy holds a document type declaration.

#include "excel/Document.h"
#include "excel/ooxml/Doctype.h"
#include "excel/zip/ZipReader.h"
#include "platform/sys/ByteSink.h"
#include "platform/sys/Error.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>

using namespace excel;

namespace {

std::vector<std::byte> readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::vector<char> c((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::vector<std::byte> out(c.size());
    std::memcpy(out.data(), c.data(), c.size());
    return out;
}

std::unique_ptr<Document> openRepair(const std::string& name)
{
    const std::string path = std::string(TB_TEST_DATA) + "/repair/" + name;
    return openDocument(std::make_shared<tb::MemorySource>(readFile(path)), name);
}

const CopySource kSource{"/data/Book.xlsx", "Book.xlsx"};

// Every sheet copied and saved; each copy opened again.
std::vector<std::vector<std::byte>> copyAll(const Document& doc)
{
    std::vector<std::vector<std::byte>> out;
    for (std::size_t i = 0; i < doc.worksheetNames().size(); ++i) {
        tb::MemorySink sink;
        doc.copyWorksheet(i, kSource)->save(sink);
        auto again = openDocument(std::make_shared<tb::MemorySource>(sink.data), "copy");
        EXPECT_EQ(again->worksheetNames(), std::vector<std::string>{doc.worksheetNames()[i]});
        EXPECT_TRUE(again->repairs().empty()) << again->repairs().front();
        out.push_back(std::move(sink.data));
    }
    return out;
}

// A part of the copy of sheet `index` of a fixture; throws when it is missing.
std::string partOfCopy(const std::string& file, std::size_t index, const std::string& part)
{
    tb::MemorySink sink;
    openRepair(file)->copyWorksheet(index, kSource)->save(sink);
    return zip::ZipReader(std::make_shared<tb::MemorySource>(std::move(sink.data)), "copy").read(part);
}

std::size_t countOf(const std::vector<std::string>& list, const std::string& part)
{
    return static_cast<std::size_t>(
        std::count_if(list.begin(), list.end(), [&](const std::string& s) { return s.find(part) != std::string::npos; }));
}

}  // namespace

TEST(Repairs, EachKindOfDamageIsReadPastAndSaidOnce)
{
    struct Case {
        const char* file;
        std::vector<std::string> sheets;
        const char* repair;  // part of the one sentence that says it
        bool atOpen;         // said when the workbook is opened, before any copy
    };
    const std::vector<std::string> simple{"Sheet1", "Data Sheet", "Sheet3"};
    const Case cases[] = {
        {"sst_index.xlsx", simple, "cells name shared strings the table does not hold", false},
        {"pivot_rel_no_id.xlsx", {"Data", "Pivot"}, "'xl/pivotCache/_rels/pivotCacheDefinition1.xml.rels' has no Id; it is given the Id 'rId1'",
         false},
        {"missing_connections.xlsx", simple, "names the missing part 'xl/connections.xml'; it is left out", false},
        {"macro_tab_missing_rel.xlsx", simple, "the sheet tab 'Macro1' names the missing relationship 'rId9'", true},
        {"dtd_shared_strings.xlsx", simple, "the part 'xl/sharedStrings.xml' holds a document type declaration", false},
        {"dtd_core.xlsx", simple, "the part 'docProps/core.xml' holds a document type declaration", false},
        {"sst_count.xls", {}, "the shared-string table ends early (1 of the 6 strings", false},
        {"sst_cut.xls", {}, "the shared-string table ends early (0 of the 1 strings", false},
        {"cfb_cut.xls", {"table1", "table2", "table3"}, "the stream 'CompObj' is damaged", true},
        {"cfb_summary_cross.xls", {}, "the stream 'SummaryInformation' is damaged", true},
        {"cfb_workbook_short.xls", {}, "the stream 'Workbook' ends early", true},
        {"cfb_workbook_short.xls", {}, "ends before the worksheets 'Sheet11', 'Sheet12', 'Sheet13' begin", true},
        {"cfb_workbook_short.xls", {}, "the worksheet 'Sheet10' ends early, with the workbook stream", false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        auto doc = openRepair(c.file);
        if (!c.sheets.empty())
            EXPECT_EQ(doc->worksheetNames(), c.sheets);
        EXPECT_EQ(countOf(doc->repairs(), c.repair), c.atOpen ? 1u : 0u);
        copyAll(*doc);
        copyAll(*doc);
        EXPECT_EQ(countOf(doc->repairs(), c.repair), 1u) << (doc->repairs().empty() ? "" : doc->repairs().front());
    }
    // Both summary streams cross: both are left out, and the workbook's
    // stream, whose chain is whole, is read.
    EXPECT_EQ(openRepair("cfb_summary_cross.xls")->repairs().size(), 2u);
}

TEST(Repairs, TheUndamagedSourcesOfTheFixturesNeedNone)
{
    for (const char* f : {"pivot.xlsx"}) {
        auto doc = openRepair(f);
        copyAll(*doc);
        EXPECT_TRUE(doc->repairs().empty()) << f;
    }
}

TEST(Repairs, NoCopyCarriesADocumentTypeDeclarationOrExpandsAnEntity)
{
    for (const char* f : {"dtd_shared_strings.xlsx", "dtd_core.xlsx"}) {
        SCOPED_TRACE(f);
        auto doc = openRepair(f);
        for (auto& bytes : copyAll(*doc)) {
            zip::ZipReader z(std::make_shared<tb::MemorySource>(std::move(bytes)), "copy");
            for (const auto& e : z.entries()) {
                const std::string text = z.read(e);
                EXPECT_EQ(text.find("<!DOCTYPE"), std::string::npos) << e.name;
                EXPECT_EQ(text.find("lollol"), std::string::npos) << e.name;
                if (e.name == "docProps/core.xml" && std::string(f) == "dtd_core.xlsx")
                    EXPECT_NE(text.find("<dc:title>&amp;lol9;</dc:title>"), std::string::npos) << text;
            }
        }
    }
}

TEST(Repairs, CellsPastTheStringTableKeepTheirFormatAndReadAsEmpty)
{
    const std::string sheet = partOfCopy("sst_index.xlsx", 0, "xl/worksheets/sheet1.xml");
    EXPECT_NE(sheet.find("<c r=\"A1\"/><c r=\"B1\"/>"), std::string::npos) << sheet;
}

TEST(Repairs, ARelationshipWithoutAnIdGetsTheOneItsPartNames)
{
    // The pivot cache names its records as rId1, the Id its relationship lost:
    // the copy of the pivot table's sheet keeps the records.
    EXPECT_FALSE(partOfCopy("pivot_rel_no_id.xlsx", 1, "xl/pivotCache/pivotCacheRecords1.xml").empty());
    const std::string rels = partOfCopy("pivot_rel_no_id.xlsx", 1, "xl/pivotCache/_rels/pivotCacheDefinition1.xml.rels");
    EXPECT_NE(rels.find("Id=\"rId1\""), std::string::npos) << rels;
}

TEST(Repairs, APrologIsReadOnlyAsFarAsItsRootElement)
{
    using ooxml::Prolog;
    using ooxml::scanProlog;
    const std::string decl = "<?xml version=\"1.0\"?>";
    EXPECT_EQ(scanProlog(decl + "<sst/>"), Prolog::Clean);
    EXPECT_EQ(scanProlog(decl + "\r\n<!-- a <!DOCTYPE in a comment --><sst/>"), Prolog::Clean);
    EXPECT_EQ(scanProlog(decl + "<sst><t>&lt;!DOCTYPE</t></sst>"), Prolog::Clean);
    EXPECT_EQ(scanProlog(decl + "<!-- note -->\n<!DOCTYPE x [<!ENTITY a \"b\">]><x/>"), Prolog::Doctype);
    EXPECT_EQ(scanProlog("\xEF\xBB\xBF<!DOCTYPE x><x/>"), Prolog::Doctype);
    const char16_t wide[] = u"\uFEFF<!DOCTYPE x><x/>";
    EXPECT_EQ(scanProlog(std::string(reinterpret_cast<const char*>(wide), sizeof wide - 2)), Prolog::Doctype);
    // A start that ends inside the prolog tells nothing yet.
    EXPECT_EQ(scanProlog(decl + "<!-- a long comment"), Prolog::Unknown);
    EXPECT_EQ(scanProlog(decl + "<!DOC"), Prolog::Unknown);
    EXPECT_EQ(scanProlog(decl), Prolog::Unknown);
}
