// Excel 5.0/95 workbooks and Excel 2.x-4.0 sheet files: listing in Unicode
// from the workbook's code page, the workbook stream under its other names,
// refusals, one-sheet copies checked record by record, and the older sheet
// files copied whole.

#include "biff_fixture.h"
#include "excel/Document.h"
#include "excel/biff/Records.h"
#include "excel/biff5/CodePage.h"
#include "excel/biff5/Formula5.h"
#include "platform/sys/Error.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

using namespace excel;
using namespace biff_fixture;
using excel::biff::Bytes;
using excel::biff::u16;
using excel::biff::u32;
using excel::biff::u8;

namespace {

const CopySource kSource{"/data/old books/source.xls", "source.xls"};

struct Rec {
    std::uint16_t type;
    std::size_t offset;
    std::vector<std::byte> body;
};


std::vector<std::byte> streamOf(const std::vector<std::byte>& file, const std::string& name = "Book")
{
    auto root = cfb::openCompoundFile(std::make_shared<tb::MemorySource>(file), "copy.xls");
    auto s = root->openStream(name);
    std::vector<std::byte> out;
    if (s)
        s->read(0, static_cast<std::size_t>(s->size()), out);
    return out;
}

std::vector<Rec> recordsOf(Bytes s)
{
    static const excel::biff::StreamContext ctx{"copy.xls", "Book"};
    std::vector<Rec> out;
    excel::biff::RecordReader r(s, 0, ctx);
    while (!r.atEnd()) {
        const auto rec = r.next();
        out.push_back({rec.type, rec.offset, std::vector<std::byte>(rec.body.begin(), rec.body.end())});
    }
    return out;
}

// The records of the substream that starts at `offset`, through its EOF.
std::vector<Rec> substream(const std::vector<Rec>& all, std::size_t offset)
{
    std::vector<Rec> out;
    int depth = 0;
    for (const Rec& r : all) {
        if (r.offset < offset)
            continue;
        out.push_back(r);
        depth += r.type == 0x0809 ? 1 : r.type == 0x000A ? -1 : 0;
        if (depth == 0)
            break;
    }
    return out;
}

// Sheet entries of a globals substream: (position, state, raw name).
std::vector<std::tuple<std::uint32_t, std::uint8_t, std::string>> sheetsOf(const std::vector<Rec>& all)
{
    std::vector<std::tuple<std::uint32_t, std::uint8_t, std::string>> out;
    for (const Rec& r : all) {
        if (r.type == 0x000A)
            break;
        if (r.type == 0x0085)
            out.emplace_back(u32(r.body, 0), u8(r.body, 4),
                             std::string(reinterpret_cast<const char*>(r.body.data()) + 7, u8(r.body, 6)));
    }
    return out;
}

std::string text(const std::vector<std::byte>& b, std::size_t from)
{
    return std::string(reinterpret_cast<const char*>(b.data()) + from, b.size() - from);
}

const std::vector<std::string> kFixtures{"biff5/crossref95.xls", "biff5/formats95.xls", "biff5/cyrillic95.xls",
                                         "biff5/hide95.xls", "biff5/quote95.xls", "biff5/upper95.xls",
                                         "biff5/workbook95.xls"};

}  // namespace

TEST(Biff5Listing, SheetNamesComeInUnicodeFromTheWorkbooksCodePage)
{
    auto doc = openPath("biff5/formats95.xls");
    EXPECT_EQ(doc->family(), Family::Biff5);
    EXPECT_EQ(doc->worksheetNames(), (std::vector<std::string>{"Übersicht", "Daten 2024", "Café"}));
    // The same bytes read in Windows-1251.
    EXPECT_EQ(openPath("biff5/cyrillic95.xls")->worksheetNames(),
              (std::vector<std::string>{"Ьbersicht", "Данные2024", "Cafй"}));
    EXPECT_EQ(openPath("biff5/hide95.xls")->worksheetNames(), (std::vector<std::string>{"Sheet1", "Sheet2", "Sheet3"}));
    EXPECT_EQ(openPath("biff5/quote95.xls")->worksheetNames(),
              (std::vector<std::string>{"Sheet 1", "Sheet 2", "Sheet!3", "Sheet\"4", "Sheet#5", "Sheet$6", "Sheet%7",
                                        "Sheet&8"}));
}

TEST(Biff5Listing, TheWorkbookStreamIsFoundUnderEachOfItsNames)
{
    const auto book = streamOf(readFile(data("biff5/formats95.xls")));
    ASSERT_FALSE(book.empty());
    const std::vector<std::string> names{"Übersicht", "Daten 2024", "Café"};
    EXPECT_EQ(openPath("biff5/upper95.xls")->worksheetNames(), names);  // "BOOK"
    EXPECT_EQ(openPath("biff5/workbook95.xls")->worksheetNames(), (std::vector<std::string>{"Data", "Calc", "Other Sheet"}));
    for (const char* stream : {"book", "Workbook", "WORKBOOK"}) {
        SCOPED_TRACE(stream);
        auto doc = open(compoundFile({{stream, book}}), "old.xls");
        EXPECT_EQ(doc->family(), Family::Biff5);
        EXPECT_EQ(doc->worksheetNames(), names);
    }
    // Excel 97 could save both: the BIFF8 stream is the one read.
    auto both = open(compoundFile({{"Book", book}, {"Workbook", workbookStream({{u"New"}})}}), "dual.xls");
    EXPECT_EQ(both->family(), Family::Biff8);
    EXPECT_EQ(both->worksheetNames(), (std::vector<std::string>{"New"}));
}

TEST(Biff5Listing, DamageAndEncryptionAreRefusedNamingTheFile)
{
    const auto book = streamOf(readFile(data("biff5/crossref95.xls")));
    for (std::size_t cut : {std::size_t{6}, std::size_t{40}, book.size() / 3, book.size() - 3}) {
        SCOPED_TRACE(cut);
        const std::vector<std::byte> part(book.begin(), book.begin() + static_cast<std::ptrdiff_t>(cut));
        int number = 0;
        const std::string e = errorOf(
            [&] {
                auto doc = open(compoundFile({{"Book", part}}), "cut.xls");
                for (std::size_t i = 0; i < doc->worksheetNames().size(); ++i)
                    doc->copyWorksheet(i, kSource);
            },
            &number);
        EXPECT_EQ(number, 1004);
        EXPECT_EQ(e.rfind("'cut.xls' is damaged", 0), 0u) << e;
    }
    // Charts nested in charts without end: refused, not followed down.
    std::vector<std::byte> deep;
    record(deep, 0x0809, bof(0x0500, 0x0005));
    Body entry{std::byte(0), std::byte(0), std::byte(0), std::byte(0), std::byte(0), std::byte(0), std::byte(1),
               std::byte('S')};
    record(deep, 0x0085, entry);
    record(deep, 0x000A, {});
    excel::biff::put32(deep, 4 + 16 + 4, static_cast<std::uint32_t>(deep.size()));  // after the BOF, in the entry
    record(deep, 0x0809, bof(0x0500, 0x0010));
    for (int i = 0; i < 5000; ++i)
        record(deep, 0x0809, bof(0x0500, 0x0020));
    auto nested = open(compoundFile({{"Book", deep}}), "deep.xls");
    ASSERT_EQ(nested->worksheetNames(), std::vector<std::string>{"S"});
    const std::string n = errorOf([&] { nested->copyWorksheet(0, kSource); });
    EXPECT_EQ(n.rfind("'deep.xls' is damaged: Book stream, record 0x0809", 0), 0u) << n;

    // FILEPASS right after the BOF: the XOR obfuscation of Excel 95.
    std::vector<std::byte> locked(book.begin(), book.begin() + 4 + u16(book, 2));
    record(locked, 0x002F, Body(4));
    locked.insert(locked.end(), book.begin() + static_cast<std::ptrdiff_t>(locked.size() - 8), book.end());
    const std::string e = errorOf([&] { open(compoundFile({{"Book", locked}}), "locked.xls"); });
    EXPECT_EQ(e.rfind("'locked.xls' is encrypted (password to open)", 0), 0u) << e;
}

TEST(Biff5Copy, EachSheetBecomesOneVisibleSheetWithItsCellsAsTheyWere)
{
    for (const std::string& rel : kFixtures) {
        auto src = openPath(rel);
        const std::string stream = rel == "biff5/upper95.xls" ? "BOOK" : rel == "biff5/workbook95.xls" ? "Workbook" : "Book";
        const auto srcRecs = recordsOf(streamOf(readFile(data(rel)), stream));
        const auto srcSheets = sheetsOf(srcRecs);
        for (std::size_t i = 0; i < src->worksheetNames().size(); ++i) {
            SCOPED_TRACE(rel + " " + src->worksheetNames()[i]);
            auto copy = src->copyWorksheet(i, kSource);
            const auto file = saved(*copy);
            auto again = open(std::make_shared<tb::MemorySource>(file), "copy.xls");
            EXPECT_EQ(again->family(), Family::Biff5);
            EXPECT_EQ(again->worksheetNames(), std::vector<std::string>{src->worksheetNames()[i]});

            const auto recs = recordsOf(streamOf(file));
            const auto sheets = sheetsOf(recs);
            ASSERT_EQ(sheets.size(), 1u);
            EXPECT_EQ(std::get<1>(sheets[0]), 0u) << "the copy's sheet is visible";
            // The sheet's records, those a copy changes left out, are the
            // source sheet's in the same order.
            const auto sourceSheet = std::find_if(srcSheets.begin(), srcSheets.end(), [&](const auto& s) {
                return std::get<2>(s) == std::get<2>(sheets[0]);
            });
            ASSERT_NE(sourceSheet, srcSheets.end());
            auto kept = [](const std::vector<Rec>& rs) {
                std::vector<std::pair<std::uint16_t, std::vector<std::byte>>> out;
                for (const Rec& r : rs)
                    if (r.type != 0x0006 && r.type != 0x0016 && r.type != 0x0017 && r.type != 0x020B &&
                        r.type != 0x023E)
                        out.emplace_back(r.type, r.body);
                return out;
            };
            const auto mine = substream(recs, std::get<0>(sheets[0]));
            ASSERT_FALSE(mine.empty());
            EXPECT_EQ(u16(mine.front().body, 2), 0x0010) << "a worksheet's BOF";
            EXPECT_EQ(kept(mine), kept(substream(srcRecs, std::get<0>(*sourceSheet))));
            // The row index points at the copy's row blocks.
            for (const Rec& r : mine)
                if (r.type == 0x020B)
                    for (std::size_t at = 12; at + 4 <= r.body.size(); at += 4) {
                        const auto pos = u32(r.body, at);
                        EXPECT_TRUE(std::any_of(recs.begin(), recs.end(),
                                                [&](const Rec& x) { return x.offset == pos && x.type == 0x00D7; }))
                            << "DBCELL at " << pos;
                    }
        }
    }
}

TEST(Biff5Copy, ReferencesToOtherSheetsNameTheSourceFileAndLocalNamesFollowTheirSheet)
{
    auto src = openPath("biff5/crossref95.xls");
    ASSERT_EQ(src->worksheetNames()[1], "Calc");
    const auto recs = recordsOf(streamOf(saved(*src->copyWorksheet(1, kSource))));
    const auto sheet = substream(recs, std::get<0>(sheetsOf(recs).at(0)));

    std::vector<std::vector<std::byte>> links;  // the sheet's EXTERNSHEET list
    std::size_t counted = 0;
    for (const Rec& r : sheet) {
        if (r.type == 0x0016)
            counted = u16(r.body, 0);
        if (r.type == 0x0017)
            links.push_back(r.body);
    }
    EXPECT_EQ(counted, links.size());
    const std::string prefix = "\x01\x02" "data\x03old books\x03[source.xls]";
    const std::vector<std::string> sourceSheets{"Data", "Calc", "Other Sheet"};
    int external = 0, own = 0;
    for (Rec r : sheet) {
        if (r.type != 0x0006)
            continue;
        biff5::TokenVisitor v;
        v.sheetRef = [&](biff5::SheetRef ref) {
            if (ref.externSheet() < 0) {
                ++own;
                EXPECT_EQ(ref.firstTab(), 0);
                EXPECT_EQ(ref.lastTab(), 0);
                return;
            }
            ++external;
            ASSERT_GE(ref.externSheet(), 1);
            ASSERT_LE(static_cast<std::size_t>(ref.externSheet()), links.size());
            const auto& entry = links[static_cast<std::size_t>(ref.externSheet() - 1)];
            ASSERT_LT(ref.firstTab(), sourceSheets.size());
            EXPECT_EQ(text(entry, 1), prefix + sourceSheets[ref.firstTab()]);
            EXPECT_EQ(u8(entry, 0), entry.size() - 1);
        };
        auto span = std::span<std::byte>(r.body).subspan(22, u16(r.body, 20));
        EXPECT_TRUE(biff5::walkTokens(span, v));
    }
    EXPECT_GE(external, 4);

    // Names: the workbook's stay, Calc's own stay on the one sheet, the
    // other sheets' go.
    std::vector<std::uint16_t> itabs;
    for (const Rec& r : recs) {
        if (r.type == 0x000A)
            break;
        if (r.type == 0x0018)
            itabs.push_back(u16(r.body, 8));
    }
    EXPECT_FALSE(itabs.empty());
    EXPECT_TRUE(std::all_of(itabs.begin(), itabs.end(), [](std::uint16_t t) { return t <= 1; }));
    EXPECT_TRUE(std::any_of(itabs.begin(), itabs.end(), [](std::uint16_t t) { return t == 1; }));
}

TEST(Biff5Formula, TokensAreWalkedWithTheirExcel95Sizes)
{
    Body f;
    push8(f, 0x17);  // "ab"
    push8(f, 2);
    push8(f, 'a');
    push8(f, 'b');
    push8(f, 0x19);  // CHOOSE's jump table of two
    push8(f, 0x04);
    push16(f, 1);
    push16(f, 0);
    push16(f, 0);
    push8(f, 0x3A);  // Sheet3!A1 through the second EXTERNSHEET entry
    push16(f, 0xFFFE);
    for (int i = 0; i < 8; ++i)
        push8(f, 0);
    push16(f, 2);
    push16(f, 2);
    push16(f, 0);
    push8(f, 0);
    push8(f, 0x43);  // a name, value class
    push16(f, 7);
    for (int i = 0; i < 12; ++i)
        push8(f, 0);
    push8(f, 0x39);  // an external name
    push16(f, 3);
    for (int i = 0; i < 8; ++i)
        push8(f, 0);
    push16(f, 5);
    for (int i = 0; i < 12; ++i)
        push8(f, 0);
    push8(f, 0x7B);  // an area, array class, Sheet1:Sheet2
    push16(f, 0xFFFF);
    for (int i = 0; i < 8; ++i)
        push8(f, 0);
    push16(f, 0);
    push16(f, 1);
    for (int i = 0; i < 6; ++i)
        push8(f, 0);
    push8(f, 0x22);  // SUM(...)
    push8(f, 2);
    push16(f, 4);

    std::vector<std::tuple<int, int, int>> refs;
    std::vector<int> names, nameXs;
    biff5::TokenVisitor v;
    v.sheetRef = [&](biff5::SheetRef r) { refs.emplace_back(r.externSheet(), r.firstTab(), r.lastTab()); };
    v.name = [&](std::span<std::byte> i) { names.push_back(u16(i, 0)); };
    v.nameX = [&](std::span<std::byte> x, std::span<std::byte> i) { nameXs.push_back(u16(x, 0) * 100 + u16(i, 0)); };
    EXPECT_TRUE(biff5::walkTokens(f, v));
    EXPECT_EQ(refs, (std::vector<std::tuple<int, int, int>>{{-2, 2, 2}, {-1, 0, 1}}));
    EXPECT_EQ(names, std::vector<int>{7});
    EXPECT_EQ(nameXs, std::vector<int>{305});

    // A token it does not know, or one cut short, ends the walk.
    Body unknown{std::byte(0x1E), std::byte(1), std::byte(0), std::byte(0x18), std::byte(0)};
    EXPECT_FALSE(biff5::walkTokens(unknown, {}));
    Body cut(f.begin(), f.begin() + 20);
    EXPECT_FALSE(biff5::walkTokens(cut, {}));
}

TEST(Biff5CodePage, BytesDecodeInTheirCodePageAndUnknownPagesAsWindows1252)
{
    EXPECT_EQ(biff5::CodePage(1251).toUtf8("\xC4\xE0\xED\xED\xFB\xE5"), "Данные");
    EXPECT_EQ(biff5::CodePage(1252).toUtf8("Caf\xE9"), "Café");
    EXPECT_EQ(biff5::CodePage(10000).toUtf8("Caf\x8E"), "Café");  // Mac Roman
    EXPECT_EQ(biff5::CodePage(4242).toUtf8("Caf\xE9"), "Café");
    EXPECT_EQ(biff5::CodePage(1252).fromUtf8("/home/Zoë/Данные.xls"), "/home/Zo\xEB/??????.xls");
    // Bytes that the code page leaves undefined do not stop the rest.
    EXPECT_EQ(biff5::CodePage(1252).toUtf8("a\x81z"), "a\xEF\xBF\xBDz");
}

TEST(OldSheetFile, TheSheetIsNamedAfterTheFileAndCopiedByteForByte)
{
    const auto bytes = readFile(data("biff4/biff4_sheet.xls"));
    auto doc = open(std::make_shared<tb::MemorySource>(bytes), "/home/me/old/biff4_sheet.xls");
    EXPECT_EQ(doc->family(), Family::Biff4);
    EXPECT_EQ(doc->worksheetNames(), std::vector<std::string>{"biff4_sheet"});
    EXPECT_EQ(saved(*doc->copyWorksheet(0, kSource)), bytes);

    // An Excel 2.x sheet: BOF, one number, EOF; the name keeps its dots.
    std::vector<std::byte> biff2;
    Body bof2;
    push16(bof2, 0x0002);
    push16(bof2, 0x0010);
    record(biff2, 0x0009, bof2);
    record(biff2, 0x0003, Body(15));
    record(biff2, 0x000A, {});
    auto two = open(std::make_shared<tb::MemorySource>(biff2), "/tmp/Q1.2 Budget.XLS");
    EXPECT_EQ(two->worksheetNames(), std::vector<std::string>{"Q1.2 Budget"});
    EXPECT_EQ(saved(*two->copyWorksheet(0, kSource)), biff2);
    EXPECT_EQ(errorOf([&] { two->copyWorksheet(1, kSource); }).empty(), false);

    // Charts, macro sheets and Excel 4.0 workbooks hold no sheet to copy.
    for (const auto& [type, what] : std::vector<std::pair<std::uint16_t, std::string>>{
             {0x0020, "is an Excel 3.0 (BIFF3) chart"},
             {0x0040, "is an Excel 3.0 (BIFF3) macro sheet"},
             {0x0100, "is an Excel 4.0 workbook (BIFF4W)"}}) {
        std::vector<std::byte> s;
        Body bof;
        push16(bof, 0x0300);
        push16(bof, type);
        record(s, 0x0209, bof);
        record(s, 0x000A, {});
        int number = 0;
        const std::string e = errorOf([&] { open(std::make_shared<tb::MemorySource>(s), "old.xlc"); }, &number);
        EXPECT_EQ(number, 1004);
        EXPECT_EQ(e.rfind("'old.xlc' " + what, 0), 0u) << e;
    }
}
