// Opening and listing packages, and every way a package can be bad.

#include "ooxml_fixture.h"

#include "excel/Document.h"
#include "platform/sys/Error.h"

#include <gtest/gtest.h>

using namespace ooxml_test;

namespace {

std::vector<std::string> listing(const std::string& rel)
{
    return excel::openDocument(source(readFile(dataPath(rel))), rel)->worksheetNames();
}

// The error a package gives, or "" when it opens.
std::string openError(const std::vector<std::byte>& bytes)
{
    try {
        excel::openDocument(source(bytes), "bad.xlsx");
    } catch (const tb::Error& e) {
        EXPECT_EQ(e.number(), 1004);
        EXPECT_NE(e.description().find("bad.xlsx"), std::string::npos) << e.description();
        return e.description();
    }
    return {};
}

}  // namespace

TEST(OoxmlOpen, ListsWorksheetsInTabOrderWithNamesAsStored)
{
    EXPECT_EQ(listing("defined_name01.xlsx"), (std::vector<std::string>{"Sheet1", "Sheet2", "Sheet 3"}));
    EXPECT_EQ(listing("hide01.xlsx"), (std::vector<std::string>{"Sheet1", "Sheet2", "Sheet3"}));
    // Chart sheets are not worksheets.
    for (const char* f : {"chartsheet01.xlsx", "chartsheet05.xlsx", "chartsheet11.xlsx"}) {
        for (const auto& n : listing(f))
            EXPECT_EQ(n.rfind("Chart", 0), std::string::npos) << f << ": " << n;
    }
    // A workbook of chart sheets alone has no worksheet.
    EXPECT_TRUE(listing("made/chart_only.xlsx").empty());
    // Hidden sheets are.
    auto doc = excel::openDocument(source(zipOf(minimalWorkbook())), "min.xlsx");
    EXPECT_EQ(doc->worksheetNames(), (std::vector<std::string>{"One", "Two & more"}));
    EXPECT_EQ(doc->family(), excel::Family::Ooxml);
}

TEST(OoxmlOpen, ListingDoesNotReadTheSheets)
{
    // A sheet part that is not XML at all: listing works, copying it fails.
    auto doc = excel::openDocument(source(zipOf(minimalWorkbook("<<< not xml"))), "lazy.xlsx");
    EXPECT_EQ(doc->worksheetNames().size(), 2u);
    try {
        doc->copyWorksheet(1, {"/in/lazy.xlsx", "lazy.xlsx"});
        FAIL() << "a damaged sheet part was copied";
    } catch (const tb::Error& e) {
        EXPECT_NE(e.description().find("xl/worksheets/sheet2.xml"), std::string::npos) << e.description();
    }
}

TEST(OoxmlOpen, BadPackagesGiveErrorsNamingTheFileAndWhatIsWrong)
{
    const Parts good = minimalWorkbook();
    struct Case {
        const char* what;
        std::vector<std::byte> bytes;
        const char* expected;
    } cases[] = {
        {"zip without content types", zipOf(without(good, "[Content_Types].xml")), "not an Office Open XML package"},
        {"no package relationships", zipOf(without(good, "_rels/.rels")), "no relationship names the workbook"},
        {"no workbook part", zipOf(without(good, "xl/workbook.xml")), "workbook part is missing"},
        {"missing sheet part", zipOf(without(good, "xl/worksheets/sheet2.xml")), "worksheet 'Two & more' is missing"},
        {"workbook not XML", zipOf(replaced(good, "xl/workbook.xml", "<workbook><sheets>")), "not well-formed XML"},
        {"workbook of another kind", zipOf(replaced(good, "xl/workbook.xml", "<document/>")), "expected a <workbook>"},
        {"two tabs on one relationship",
         zipOf(replaced(good, "xl/workbook.xml",
                        "<workbook xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/main\" "
                        "xmlns:r=\"http://schemas.openxmlformats.org/officeDocument/2006/relationships\"><sheets>"
                        "<sheet name=\"One\" sheetId=\"1\" r:id=\"rId1\"/><sheet name=\"Again\" sheetId=\"2\" "
                        "r:id=\"rId1\"/></sheets></workbook>")),
         "which an earlier sheet names too"},
        {"a word document",
         zipOf(replaced(good, "[Content_Types].xml",
                        "<Types xmlns=\"http://schemas.openxmlformats.org/package/2006/content-types\">"
                        "<Override PartName=\"/xl/workbook.xml\" ContentType=\"application/"
                        "vnd.openxmlformats-officedocument.wordprocessingml.document.main+xml\"/></Types>")),
         "another kind"},
    };
    for (const auto& c : cases) {
        const std::string err = openError(c.bytes);
        EXPECT_NE(err.find(c.expected), std::string::npos) << c.what << ": " << err;
    }
    std::vector<std::byte> text(40, std::byte{'x'});
    EXPECT_NE(openError(text).find("is not a workbook"), std::string::npos);
    EXPECT_NE(openError({}).find("empty"), std::string::npos);
}

TEST(OoxmlOpen, EveryTruncatedPrefixFailsCleanly)
{
    const auto whole = readFile(dataPath("comment04.xlsx"));
    ASSERT_GT(whole.size(), 1000u);
    for (std::size_t n = 0; n < whole.size(); ++n) {
        std::vector<std::byte> prefix(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(n));
        try {
            excel::openDocument(source(std::move(prefix)), "cut.xlsx");
            ADD_FAILURE() << "a prefix of " << n << " bytes opened";
        } catch (const tb::Error& e) {
            ASSERT_EQ(e.number(), 1004) << n;
            ASSERT_NE(e.description().find("cut.xlsx"), std::string::npos) << n;
        }
    }
}

TEST(OoxmlOpen, CorruptedBytesNeverCrashOpenCopyOrSave)
{
    // Overwrite one byte at a time across the whole file: whatever opens must
    // copy and save or fail with the engine's error.
    const auto whole = readFile(dataPath("hyperlink03.xlsx"));
    int opened = 0;
    for (std::size_t at = 0; at < whole.size(); at += 7) {
        auto bytes = whole;
        bytes[at] = static_cast<std::byte>(static_cast<unsigned>(bytes[at]) ^ 0x5A);
        try {
            auto doc = excel::openDocument(source(std::move(bytes)), "flip.xlsx");
            ++opened;
            for (std::size_t i = 0; i < doc->worksheetNames().size(); ++i) {
                auto copy = doc->copyWorksheet(i, {"/in/flip.xlsx", "flip.xlsx"});
                tb::MemorySink sink;
                copy->save(sink);
            }
        } catch (const tb::Error& e) {
            ASSERT_EQ(e.number(), 1004) << at;
        }
    }
    EXPECT_GT(opened, 0);
}

TEST(OoxmlOpen, DamagedPartDataIsFoundWhenThePartIsRead)
{
    // The directory is whole, so the package lists; the second sheet's data
    // is not, and copying that sheet must say so and name the part.
    const std::string part = "xl/worksheets/sheet2.xml";
    std::string rows;  // enough of them that the part is deflated, not stored
    for (int r = 1; r <= 100; ++r)
        rows += "<row r=\"" + std::to_string(r) + "\"><c r=\"A" + std::to_string(r) + "\"><v>" + std::to_string(r) +
                "</v></c></row>";
    const auto good = zipOf(minimalWorkbook("<worksheet xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/"
                                            "main\"><sheetData>" + rows + "</sheetData></worksheet>"));
    const std::string text(reinterpret_cast<const char*>(good.data()), good.size());
    std::size_t local = 0;  // the part's local header, not its name quoted in another part
    while (text.compare(local, 4, "PK\3\4") != 0 || text.compare(local + 30, part.size(), part) != 0)
        local = text.find("PK\3\4", local + 1);
    const std::size_t central = text.rfind(part) - 46;
    ASSERT_LT(local, central);
    ASSERT_EQ(text[local + 8], 8) << "the part is not deflated";
    auto damaged = [&](auto change) {
        auto bytes = good;
        change(bytes);
        auto doc = excel::openDocument(source(std::move(bytes)), "bad.xlsx");
        EXPECT_EQ(doc->worksheetNames().size(), 2u);
        try {
            doc->copyWorksheet(1, {"/in/bad.xlsx", "bad.xlsx"});
        } catch (const tb::Error& e) {
            EXPECT_EQ(e.number(), 1004);
            EXPECT_NE(e.description().find("bad.xlsx"), std::string::npos) << e.description();
            EXPECT_NE(e.description().find(part), std::string::npos) << e.description();
            return e.description();
        }
        return std::string("copied");
    };
    // A checksum that does not match the data (in both headers, as a writer
    // that got it wrong would leave it).
    EXPECT_NE(damaged([&](std::vector<std::byte>& b) {
                  b[local + 14] ^= std::byte{0xFF};
                  b[central + 16] ^= std::byte{0xFF};
              }).find("CRC"),
              std::string::npos);
    // Data that is not a deflate stream: the first block is of the reserved type.
    const std::size_t data = local + 30 + part.size();
    EXPECT_NE(damaged([&](std::vector<std::byte>& b) { b[data] = std::byte{0x07}; }).find("damaged"),
              std::string::npos);
    // The first sheet is whole and still copies.
    auto doc = excel::openDocument(source(good), "good.xlsx");
    EXPECT_NO_THROW(doc->copyWorksheet(1, {"/in/good.xlsx", "good.xlsx"}));
}
