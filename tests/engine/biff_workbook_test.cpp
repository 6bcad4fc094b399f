// .xls workbooks through the Document interface and the object model:
// listing, refusals with their texts, fault tables over truncated files and
// streams, and one-sheet copies checked record by record.

#include "biff_fixture.h"
#include "excel/Application.h"
#include "excel/Document.h"
#include "excel/Workbook.h"
#include "excel/Workbooks.h"
#include "excel/Worksheets.h"
#include "excel/biff/Formula.h"
#include "excel/biff/Globals.h"
#include "excel/biff/RecordTypes.h"
#include "excel/biff/Records.h"
#include "excel/biff/Sst.h"
#include "excel/biff/Strings.h"
#include "platform/sys/Error.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <set>

using namespace excel;
using namespace biff_fixture;
using excel::biff::Bytes;
using excel::biff::u16;
using excel::biff::u32;
namespace rt = excel::biff::rt;

namespace {


std::vector<std::byte> workbookStreamOf(const std::vector<std::byte>& file)
{
    auto root = cfb::openCompoundFile(std::make_shared<tb::MemorySource>(file), "copy.xls");
    auto s = root->openStream("Workbook");
    std::vector<std::byte> out;
    if (s)
        s->read(0, static_cast<std::size_t>(s->size()), out);
    return out;
}

// The records of a stream from `pos` to the end, as (type, body) pairs.
std::vector<std::pair<std::uint16_t, std::vector<std::byte>>> recordsOf(Bytes s, std::size_t pos = 0)
{
    static const excel::biff::StreamContext ctx{"copy.xls", "Workbook"};
    std::vector<std::pair<std::uint16_t, std::vector<std::byte>>> out;
    excel::biff::RecordReader r(s, pos, ctx);
    while (!r.atEnd()) {
        const auto rec = r.next();
        out.emplace_back(rec.type, std::vector<std::byte>(rec.body.begin(), rec.body.end()));
    }
    return out;
}

const CopySource kSource{"/data/books/source.xls", "source.xls"};

std::vector<std::string> allSamples()
{
    std::vector<std::string> out;
    for (const char* dir : {"lo", "xlrd", "made"})
        for (const auto& e : std::filesystem::directory_iterator(data(dir)))
            if (e.path().extension() == ".xls" && e.path().filename() != "encrypted.xls")
                out.push_back(std::string(dir) + "/" + e.path().filename().string());
    std::sort(out.begin(), out.end());
    return out;
}

}  // namespace

TEST(BiffListing, WorksheetsInOrderHiddenIncludedOthersLeftOut)
{
    EXPECT_EQ(openPath("lo/hide01.xls")->worksheetNames(), (std::vector<std::string>{"Sheet1", "Sheet2", "Sheet3"}));
    EXPECT_EQ(openPath("lo/quote_name01.xls")->worksheetNames(),
              (std::vector<std::string>{"Sheet 1", "Sheet 2", "Sheet!3", "Sheet\"4", "Sheet#5", "Sheet$6", "Sheet%7",
                                        "Sheet&8"}));
    EXPECT_EQ(openPath("xlrd/namesdemo.xls")->worksheetNames(),
              (std::vector<std::string>{"Sheet1", "Sheet2", "Sheet3", "Seamus O'Reilly"}));

    // Chart (2), macro (1) and VB module (6) sheets and dialog sheets are not
    // worksheets; names come compressed or as UTF-16.
    auto doc = open(workbook({{u"Données", 0, 0},
                              {u"Chart1", 2},
                              {u"Macro1", 1},
                              {u"Dialog1", 0, 0, true},
                              {u"Σύνοψη", 0, 2},
                              {u"Module1", 6}}));
    EXPECT_EQ(doc->family(), Family::Biff8);
    EXPECT_EQ(doc->worksheetNames(), (std::vector<std::string>{"Donn\xC3\xA9" "es", "\xCE\xA3\xCF\x8D\xCE\xBD\xCE\xBF\xCF\x88\xCE\xB7"}));
}

TEST(BiffListing, RefusalsNameTheFileAndSayWhy)
{
    int number = 0;
    std::string e = errorOf([&] { openPath("made/encrypted.xls"); }, &number);
    EXPECT_EQ(number, 1004);
    EXPECT_EQ(e.rfind("'made/encrypted.xls' is encrypted (password to open)", 0), 0u) << e;

    // An encrypted OOXML workbook is an OLE2 file with these two streams.
    e = errorOf([&] {
        open(compoundFile({{"EncryptionInfo", std::vector<std::byte>(64)}, {"EncryptedPackage", std::vector<std::byte>(64)}}),
             "secret.xlsx");
    });
    EXPECT_EQ(e.rfind("'secret.xlsx' is encrypted (password to open)", 0), 0u) << e;

    biff_fixture::Body filePass(54);
    e = errorOf([&] {
        open(compoundFile({{"Workbook", workbookStream({{u"Sheet1"}}, 0x0600, {{0x002F, filePass}})}}), "rc4.xls");
    });
    EXPECT_EQ(e.rfind("'rc4.xls' is encrypted (password to open)", 0), 0u) << e;

    e = errorOf([&] { open(compoundFile({{"WordDocument", std::vector<std::byte>(100)}}), "letter.doc"); });
    EXPECT_NE(e.find("'letter.doc' is not a workbook"), std::string::npos) << e;

    e = errorOf([&] { openPath("biff4/biff4w_workbook.xlw"); }, &number);
    EXPECT_EQ(number, 1004);
    EXPECT_NE(e.find("biff4w_workbook.xlw' is an Excel 4.0 workbook (BIFF4W)"), std::string::npos) << e;
}

TEST(BiffCopy, CountsBeyondTheirRecordsAreRefusedOrRepaired)
{
    // The external-sheet table claims 1000 entries and holds one: refused.
    biff_fixture::Body externSheet;
    push16(externSheet, 1000);
    for (int i = 0; i < 3; ++i)
        push16(externSheet, 0);
    auto forged = open(compoundFile({{"Workbook", workbookStream({{u"One"}, {u"Two"}}, 0x0600,
                                                                {{rt::ExternSheet, externSheet}})}}),
                       "forged.xls");
    int number = 0;
    const std::string e = errorOf([&] { forged->copyWorksheet(1, kSource); }, &number);
    EXPECT_EQ(number, 1004);
    EXPECT_EQ(e.rfind("'forged.xls' is damaged", 0), 0u) << e;
    EXPECT_NE(e.find("shorter than its count"), std::string::npos) << e;

    // The shared-string table claims 2^31 strings in 8 bytes: it holds none,
    // and the copy is made with that said once.
    biff_fixture::Body sst;
    push32(sst, 1);
    push32(sst, 0x7FFFFFFF);
    auto shortTable =
        open(compoundFile({{"Workbook", workbookStream({{u"One"}, {u"Two"}}, 0x0600, {{rt::Sst, sst}})}}), "short.xls");
    EXPECT_TRUE(shortTable->repairs().empty());
    shortTable->copyWorksheet(1, kSource);
    shortTable->copyWorksheet(0, kSource);
    EXPECT_EQ(shortTable->repairs(),
              std::vector<std::string>{"the shared-string table ends early (0 of the 2147483647 strings it claims are "
                                       "there); cells that refer past them read as empty"});
}

TEST(BiffListing, ListingReadsOnlyTheGlobals)
{
    // A workbook whose sheet data is garbage still lists: listing stops at the
    // globals' EOF and reads no more than each sheet's first records.
    auto stream = workbookStream({{u"Sheet1"}, {u"Sheet2"}});
    const auto g = excel::biff::parseGlobals(stream, {"x", "Workbook"});
    const std::size_t sheet2 = g.sheets[1].position;
    std::vector<std::byte> big(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(sheet2));
    big.insert(big.end(), stream.begin() + static_cast<std::ptrdiff_t>(sheet2), stream.end());
    big.resize(big.size() + 300000, std::byte(0xEE));
    auto doc = open(compoundFile({{"Workbook", big}}));
    EXPECT_EQ(doc->worksheetNames(), (std::vector<std::string>{"Sheet1", "Sheet2"}));
}

// Fault table: every prefix of a real file opens with an error or, where the
// cut only took sectors the file does not use, gives the same copy as the
// whole file; where it took bytes of a stream, the workbook says what it
// repaired and its copies open again. Never a crash.
TEST(BiffFaults, EveryTruncatedFileFailsCleanly)
{
    const auto whole = readFile(data("lo/simple02.xls"));
    auto full = open(std::make_shared<tb::MemorySource>(whole));
    std::vector<std::vector<std::byte>> expected;
    for (std::size_t i = 0; i < full->worksheetNames().size(); ++i)
        expected.push_back(saved(*full->copyWorksheet(i, kSource)));
    std::size_t failures = 0;
    for (std::size_t n = 0; n < whole.size(); ++n) {
        std::vector<std::byte> cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(n));
        try {
            auto doc = open(std::make_shared<tb::MemorySource>(cut), "cut.xls");
            for (std::size_t i = 0; i < doc->worksheetNames().size(); ++i) {
                const auto copy = saved(*doc->copyWorksheet(i, kSource));
                if (doc->repairs().empty())
                    ASSERT_EQ(copy, expected.at(i)) << "prefix " << n;
                else
                    ASSERT_EQ(open(std::make_shared<tb::MemorySource>(copy))->worksheetNames().size(), 1u) << n;
            }
        } catch (const tb::Error& e) {
            ++failures;
            ASSERT_EQ(e.number(), 1004);
            ASSERT_NE(e.description().find("cut.xls"), std::string::npos) << e.description();
        }
    }
    EXPECT_GT(failures, whole.size() * 9 / 10);
}

// Fault table over the Workbook stream itself: every prefix fails to open,
// fails to copy at least the sheet that was cut, or is read as far as it
// goes (the cut sheet's whole records, the sheets past the end left out) with
// that said, and its copies open again.
TEST(BiffFaults, EveryTruncatedWorkbookStreamFailsCleanly)
{
    const auto file = readFile(data("made/crossref.xls"));
    const auto stream = workbookStreamOf(file);
    ASSERT_FALSE(stream.empty());
    for (std::size_t n = 0; n < stream.size(); ++n) {
        std::vector<std::byte> cut(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(n));
        bool failed = false;
        try {
            auto doc = open(compoundFile({{"Workbook", cut}}), "cut.xls");
            for (std::size_t i = 0; i < doc->worksheetNames().size(); ++i)
                ASSERT_EQ(open(std::make_shared<tb::MemorySource>(saved(*doc->copyWorksheet(i, kSource))))
                              ->worksheetNames(),
                          std::vector<std::string>{doc->worksheetNames()[i]});
            failed = !doc->repairs().empty();
        } catch (const tb::Error& e) {
            failed = true;
            ASSERT_EQ(e.number(), 1004);
            ASSERT_NE(e.description().find("'cut.xls'"), std::string::npos) << e.description();
        }
        ASSERT_TRUE(failed) << "prefix " << n << " of " << stream.size() << " was taken as whole";
    }
}

// Every sheet of every sample copies into a file that opens again as a
// one-sheet BIFF8 workbook of that name, whose records are sound.
TEST(BiffCopy, EverySheetOfEverySampleCopiesAndReopens)
{
    for (const std::string& rel : allSamples()) {
        auto src = openPath(rel);
        for (std::size_t i = 0; i < src->worksheetNames().size(); ++i) {
            SCOPED_TRACE(rel + " / " + src->worksheetNames()[i]);
            const auto copy = src->copyWorksheet(i, kSource);
            EXPECT_EQ(copy->worksheetNames(), std::vector<std::string>{src->worksheetNames()[i]});
            const auto bytes = saved(*copy);
            auto again = open(std::make_shared<tb::MemorySource>(bytes), "copy.xls");
            ASSERT_EQ(again->worksheetNames(), copy->worksheetNames());

            const auto stream = workbookStreamOf(bytes);
            const auto g = excel::biff::parseGlobals(stream, {"copy.xls", "Workbook"});
            ASSERT_EQ(g.sheets.size(), 1u);
            EXPECT_EQ(g.sheets[0].state, 0) << "the copy's one sheet must be visible";
            const auto sheet = recordsOf(stream, g.sheets[0].position);
            ASSERT_FALSE(sheet.empty());
            EXPECT_EQ(sheet.front().first, rt::Bof);
            EXPECT_EQ(sheet.back().first, rt::Eof);

            // Every string cell points into the pruned table, which holds
            // only strings that cells use.
            std::size_t sstCount = 0;
            for (const auto& [type, body] : recordsOf(Bytes(stream).first(g.end)))
                if (type == rt::Sst)
                    sstCount = u32(body, 4);
            std::set<std::uint32_t> used;
            std::size_t dbcells = 0;
            for (const auto& [type, body] : sheet) {
                if (type == rt::LabelSst) {
                    EXPECT_LT(u32(body, 6), sstCount);
                    used.insert(u32(body, 6));
                }
                dbcells += type == 0x00D7;
            }
            EXPECT_EQ(used.size(), sstCount);

            // INDEX points at the sheet's DBCELL records where they are now.
            for (const auto& [type, body] : sheet) {
                if (type != rt::Index)
                    continue;
                for (std::size_t at = 16; at + 4 <= body.size(); at += 4)
                    EXPECT_EQ(u16(stream, u32(body, at)), 0x00D7) << "INDEX entry " << (at - 16) / 4;
                EXPECT_EQ((body.size() - 16) / 4, dbcells);
            }
        }
    }
}

// The same compound file with the Workbook stream's sectors laid out in
// another order: every pair of sectors after the first trades places, so
// that hardly a record or sheet lies in contiguous sectors. The stream reads
// the same; only where its bytes lie has changed.
std::vector<std::byte> scattered(std::vector<std::byte> f)
{
    const std::size_t sector = std::size_t{1} << u16(f, 0x1E);
    auto at = [&](std::uint32_t s) { return (std::size_t{s} + 1) * sector; };
    std::vector<std::uint32_t> fat;  // FAT sectors, from the header's DIFAT
    for (std::uint32_t i = 0; i < u32(f, 0x2C) && i < 109; ++i)
        fat.push_back(u32(f, 0x4C + 4 * i));
    auto entry = [&](std::uint32_t s) { return at(fat[s / (sector / 4)]) + 4 * (s % (sector / 4)); };
    std::size_t dir = 0;
    for (std::size_t e = at(u32(f, 0x30)); e + 128 <= f.size() && dir == 0; e += 128)
        if (u16(f, e) == u'W' && u16(f, e + 2) == u'o' && u16(f, e + 0x40) == 2 * 9)
            dir = e;
    EXPECT_NE(dir, 0u);
    std::vector<std::uint32_t> chain;
    for (std::uint32_t s = u32(f, dir + 0x74); s < 0xFFFFFFFA; s = u32(f, entry(s)))
        chain.push_back(s);
    EXPECT_GE(chain.size(), 8u) << "the stream must lie in big sectors";
    std::vector<std::uint32_t> placed = chain;
    for (std::size_t i = 1; i + 1 < placed.size(); i += 2)
        std::swap(placed[i], placed[i + 1]);
    const std::vector<std::byte> before = f;
    for (std::size_t i = 0; i < chain.size(); ++i) {
        std::copy_n(before.begin() + static_cast<std::ptrdiff_t>(at(chain[i])), sector,
                    f.begin() + static_cast<std::ptrdiff_t>(at(placed[i])));
        excel::biff::put32(f, entry(placed[i]), i + 1 < chain.size() ? placed[i + 1] : 0xFFFFFFFE);
    }
    return f;
}

TEST(BiffCopy, AScatteredWorkbookStreamCopiesAsAContiguousOne)
{
    for (const std::string rel : {"xlrd/namesdemo.xls", "xlrd/profiles.xls", "lo/quote_name01.xls"}) {
        SCOPED_TRACE(rel);
        const auto bytes = readFile(data(rel));
        auto whole = open(std::make_shared<tb::MemorySource>(bytes), rel);
        auto spread = open(std::make_shared<tb::MemorySource>(scattered(bytes)), rel);
        ASSERT_EQ(spread->worksheetNames(), whole->worksheetNames());
        for (std::size_t i = 0; i < whole->worksheetNames().size(); ++i)
            EXPECT_EQ(saved(*spread->copyWorksheet(i, kSource)), saved(*whole->copyWorksheet(i, kSource)))
                << whole->worksheetNames()[i];
    }
}

TEST(BiffCopy, NamesAndCrossSheetReferencesBecomeExternal)
{
    auto src = openPath("made/crossref.xls");
    const auto& names = src->worksheetNames();
    const auto calc = std::find(names.begin(), names.end(), "Calc") - names.begin();
    const auto bytes = saved(*src->copyWorksheet(static_cast<std::size_t>(calc), kSource));
    const auto stream = workbookStreamOf(bytes);
    const auto g = excel::biff::parseGlobals(stream, {"copy.xls", "Workbook"});

    std::map<std::string, std::uint16_t> nameScope;
    std::vector<std::u16string> externalSheets;
    std::u16string externalPath;
    std::vector<std::pair<std::uint16_t, std::uint16_t>> xti;  // supbook, first tab
    std::map<std::pair<int, int>, double> cached;              // (sheet, row) of column A -> value
    int currentXct = -1;
    for (const auto& [type, body] : recordsOf(Bytes(stream).first(g.end))) {
        if (type == rt::Name) {
            std::u16string n;
            std::size_t at = 14;
            excel::biff::readStringNoCch(body, at, excel::biff::u8(body, 3), n);
            nameScope[excel::biff::toUtf8(n)] = u16(body, 8);
        } else if (type == rt::SupBook && u16(body, 2) < 0x0400) {
            std::size_t at = 4;
            excel::biff::readStringNoCch(body, at, u16(body, 2), externalPath);
            for (std::size_t i = 0; i < u16(body, 0); ++i) {
                std::u16string s;
                const std::size_t cch = u16(body, at);
                at += 2;
                excel::biff::readStringNoCch(body, at, cch, s);
                externalSheets.push_back(s);
            }
        } else if (type == rt::ExternSheet) {
            for (std::size_t i = 0; i < u16(body, 0); ++i)
                xti.emplace_back(u16(body, 2 + 6 * i), u16(body, 4 + 6 * i));
        } else if (type == rt::Xct) {
            currentXct = u16(body, 2);
        } else if (type == rt::Crn && excel::biff::u8(body, 1) == 0 && excel::biff::u8(body, 4) == 0x01) {
            double d;
            std::memcpy(&d, body.data() + 5, 8);
            cached[{currentXct, u16(body, 2)}] = d;
        }
    }
    // The sheet's own name is scoped to the one sheet; the workbook names
    // stay; the name local to another sheet is gone.
    EXPECT_EQ(nameScope.at("LocalTotal"), 1);
    EXPECT_EQ(nameScope.at("TaxRate"), 0);
    EXPECT_EQ(nameScope.count("DataOnly"), 0u);
    // One SUPBOOK names the source by its path and lists its sheets.
    EXPECT_EQ(externalPath, u"\x01\x02" u"data\x03" u"books\x03" u"source.xls");
    EXPECT_EQ(externalSheets, (std::vector<std::u16string>{u"Data", u"Calc", u"Other Sheet"}));
    // References to Data (tab 0) go through it, with Data's values cached.
    bool viaExternal = false;
    for (const auto& [book, tab] : xti)
        viaExternal = viaExternal || (book == 1 && tab == 0);
    EXPECT_TRUE(viaExternal);
    EXPECT_EQ(cached.at({0, 1}), 10.0);  // Data!A2
    EXPECT_EQ(cached.at({0, 5}), 50.0);  // Data!A6
    EXPECT_EQ(cached.at({2, 2}), 200.0);  // 'Other Sheet'!A3
}

TEST(BiffCopy, ObjectModelCopiesAndSavesAnXlsLeavingTheSourceAlone)
{
    const auto dir = std::filesystem::temp_directory_path() / ("tb-biff-" + std::to_string(::getpid()));
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
    const auto source = dir / "source.xls";
    std::filesystem::copy_file(data("lo/hide01.xls"), source);
    const auto before = readFile(source.string());

    Application app;
    app.setDisplayAlerts(false);
    auto book = app.GetWorkbooks().Open(source.string());
    book->Worksheets().Item("Sheet2").Copy();  // a hidden sheet
    auto copy = app.ActiveWorkbook();
    ASSERT_NE(copy, book);
    copy->SaveAs((dir / "Sheet2.xls").string());
    EXPECT_EQ(app.ActiveWorkbook(), copy);
    copy->Close(false);
    EXPECT_EQ(app.ActiveWorkbook(), book);
    book->Close(false);

    auto again = app.GetWorkbooks().Open((dir / "Sheet2.xls").string());
    EXPECT_EQ(again->Worksheets().Count(), 1);
    EXPECT_EQ(again->Worksheets().Item(1).Name(), "Sheet2");
    EXPECT_EQ(again->document().family(), Family::Biff8);
    again->Close(false);
    EXPECT_EQ(readFile(source.string()), before);
    std::filesystem::remove_all(dir);
}

TEST(BiffCopy, CopyOfACopyIsTheSameSheet)
{
    auto src = openPath("lo/simple02.xls");
    const auto first = src->copyWorksheet(1, kSource);
    const auto second = first->copyWorksheet(0, kSource);
    EXPECT_EQ(second->worksheetNames(), first->worksheetNames());
    const auto a = workbookStreamOf(saved(*first));
    const auto b = workbookStreamOf(saved(*second));
    EXPECT_EQ(a, b);
}

namespace {

// For every cell formula of the one sheet at `sheetPos`: the texts of the
// names its PtgName tokens point at, keyed by cell.
std::map<std::pair<int, int>, std::vector<std::u16string>> namesUsedByCells(Bytes stream, std::size_t sheetPos,
                                                                             std::size_t globalsEnd)
{
    std::vector<std::u16string> names;
    for (const auto& [type, body] : recordsOf(stream.first(globalsEnd)))
        if (type == rt::Name) {
            std::u16string n;
            std::size_t at = 14;
            excel::biff::readStringNoCch(body, at, excel::biff::u8(body, 3), n);
            names.push_back(n);
        }
    std::map<std::pair<int, int>, std::vector<std::u16string>> out;
    for (auto& [type, body] : recordsOf(stream, sheetPos)) {
        if (type == rt::Eof)
            break;
        if (type != rt::Formula)
            continue;
        std::span<std::byte> rgce(body.data() + 22, u16(body, 20));
        excel::biff::FormulaVisitor v;
        v.name = [&](std::span<std::byte> index) {
            const std::size_t i = u16(index, 0);
            out[{u16(body, 0), u16(body, 2)}].push_back(i >= 1 && i <= names.size() ? names[i - 1] : u"?");
        };
        excel::biff::walkFormula(rgce, v);
    }
    return out;
}

}  // namespace

TEST(BiffCopy, NameIndicesFollowTheNamesLeftOut)
{
    // namesdemo.xls has names local to other sheets before the ones its
    // third sheet uses, so the copy's NAME list is shorter and every index
    // in the sheet's formulas moves.
    const auto file = readFile(data("xlrd/namesdemo.xls"));
    const auto srcStream = workbookStreamOf(file);
    const auto sg = excel::biff::parseGlobals(srcStream, {"namesdemo.xls", "Workbook"});
    auto src = open(std::make_shared<tb::MemorySource>(file), "namesdemo.xls");
    for (std::size_t i = 0; i < src->worksheetNames().size(); ++i) {
        SCOPED_TRACE(src->worksheetNames()[i]);
        const auto copyStream = workbookStreamOf(saved(*src->copyWorksheet(i, kSource)));
        const auto cg = excel::biff::parseGlobals(copyStream, {"copy.xls", "Workbook"});
        const auto before = namesUsedByCells(srcStream, sg.sheets[i].position, sg.end);
        const auto after = namesUsedByCells(copyStream, cg.sheets[0].position, cg.end);
        EXPECT_EQ(after, before);
        if (i == 2) {
            EXPECT_FALSE(before.empty());
        }
    }
}

namespace {

// The offsets a sheet's row index gives land where they say: INDEX on each
// DBCELL, each DBCELL back on its first ROW and on to every row's first cell.
// Returns the number of DBCELL records.
std::size_t checkRowIndex(const std::vector<std::byte>& stream, std::size_t sheetAt)
{
    static const excel::biff::StreamContext ctx{"copy.xls", "Workbook"};
    std::map<std::size_t, std::uint16_t> typeAt;
    std::vector<std::size_t> dbcells;
    std::vector<std::uint32_t> indexed;
    excel::biff::RecordReader r(stream, sheetAt, ctx);
    int depth = 0;
    while (!r.atEnd()) {
        const auto rec = r.next();
        typeAt[rec.offset] = rec.type;
        depth += rec.type == rt::Bof ? 1 : rec.type == rt::Eof ? -1 : 0;
        if (rec.type == 0x00D7)
            dbcells.push_back(rec.offset);
        if (rec.type == rt::Index)
            for (std::size_t i = 16; i + 4 <= rec.body.size(); i += 4)
                indexed.push_back(u32(rec.body, i));
        if (depth == 0)
            break;
    }
    EXPECT_EQ(indexed, std::vector<std::uint32_t>(dbcells.begin(), dbcells.end()));
    for (const std::size_t at : dbcells) {
        const auto body = Bytes(stream).subspan(at + 4, u16(stream, at + 2));
        const std::size_t row = at - u32(body, 0);
        EXPECT_EQ(typeAt[row], 0x0208) << "DBCELL at " << at;
        std::size_t cell = row + 4 + u16(stream, row + 2);
        for (std::size_t i = 4; i + 2 <= body.size(); i += 2) {
            cell += u16(body, i);
            EXPECT_TRUE(typeAt.count(cell)) << "DBCELL at " << at << " entry " << i / 2;
        }
    }
    return dbcells.size();
}

CopySource valuesOnly()
{
    CopySource s = kSource;
    s.valuesOnly = true;
    return s;
}

}  // namespace

TEST(BiffCopy, ValuesOnlyCopiesStandAlone)
{
    auto src = openPath("made/crossref.xls");
    const auto& names = src->worksheetNames();
    const auto calc = static_cast<std::size_t>(std::find(names.begin(), names.end(), "Calc") - names.begin());
    const auto copy = src->copyWorksheet(calc, valuesOnly());
    const auto bytes = saved(*copy);
    const auto stream = workbookStreamOf(bytes);
    const auto g = excel::biff::parseGlobals(stream, {"copy.xls", "Workbook"});

    std::set<std::string> kept;
    for (const auto& [type, body] : recordsOf(Bytes(stream).first(g.end))) {
        EXPECT_FALSE(type == rt::SupBook && u16(body, 2) != 0x0401) << "a SUPBOOK other than the workbook's own";
        EXPECT_NE(type, rt::Xct);
        if (type == rt::Name) {
            std::u16string n;
            std::size_t at = 14;
            excel::biff::readStringNoCch(body, at, excel::biff::u8(body, 3), n);
            kept.insert(excel::biff::toUtf8(n));
        }
    }
    EXPECT_EQ(kept, std::set<std::string>{"LocalTotal"});  // Amounts and TaxRate read Data
    EXPECT_EQ(copy->valuesReport().names, 2u);
    int values = 0;
    for (const auto& [type, body] : recordsOf(stream, g.sheets.at(0).position))
        values += type == rt::Number || type == rt::Label || type == rt::BoolErr;
    EXPECT_EQ(copy->valuesReport().formulas, static_cast<std::size_t>(values));
    EXPECT_GT(values, 0);
    // The copy reads as a workbook of its own.
    auto again = open(std::make_shared<tb::MemorySource>(bytes), "copy.xls");
    EXPECT_NO_THROW(again->copyWorksheet(0, kSource));
}

TEST(BiffCopy, ValuesOnlyKeepsTheRowIndexTrue)
{
    auto src = openPath("xlrd/namesdemo.xls");
    const auto copy = src->copyWorksheet(0, valuesOnly());
    ASSERT_GT(copy->valuesReport().formulas, 0u);
    const auto stream = workbookStreamOf(saved(*copy));
    const auto g = excel::biff::parseGlobals(stream, {"copy.xls", "Workbook"});
    EXPECT_GT(checkRowIndex(stream, g.sheets.at(0).position), 0u);
}

TEST(BiffCopy, ASharedFormulaCachesTheCellsItsRelativeReferencesReach)
{
    // "Inputs" holds A1:A3; "Calc" has B1:B3 as one shared formula reading
    // Inputs one column to the left in the same row (=Inputs!A1 filled down),
    // stored as offsets from each cell.
    std::vector<std::byte> s;
    record(s, 0x0809, bof(0x0600, 0x0005));
    Body supbook;
    push16(supbook, 2);
    push16(supbook, 0x0401);
    record(s, rt::SupBook, supbook);
    Body xti;
    for (std::uint16_t v : {1, 0, 0, 0})
        push16(xti, v);
    record(s, rt::ExternSheet, xti);
    std::vector<std::size_t> patch;
    for (const char* name : {"Inputs", "Calc"}) {
        Body b;
        push32(b, 0);
        push16(b, 0);
        push8(b, static_cast<std::uint8_t>(std::strlen(name)));
        push8(b, 0);
        for (const char* c = name; *c; ++c)
            push8(b, static_cast<std::uint8_t>(*c));
        patch.push_back(s.size() + 4);
        record(s, 0x0085, b);
    }
    record(s, 0x000A, {});
    auto number = [](std::uint16_t row, std::uint16_t col, double v) {
        Body b;
        push16(b, row);
        push16(b, col);
        push16(b, 15);
        std::uint64_t bits;
        std::memcpy(&bits, &v, sizeof bits);
        push32(b, static_cast<std::uint32_t>(bits));
        push32(b, static_cast<std::uint32_t>(bits >> 32));
        return b;
    };
    excel::biff::put32(s, patch[0], static_cast<std::uint32_t>(s.size()));
    record(s, 0x0809, bof(0x0600, 0x0010));
    for (std::uint16_t r = 0; r < 3; ++r)
        record(s, rt::Number, number(r, 0, 10.0 * (r + 1)));
    record(s, 0x000A, {});
    excel::biff::put32(s, patch[1], static_cast<std::uint32_t>(s.size()));
    record(s, 0x0809, bof(0x0600, 0x0010));
    for (std::uint16_t r = 0; r < 3; ++r) {
        Body f = number(r, 1, 10.0 * (r + 1));
        push16(f, 0x0008);  // fShrFmla
        push32(f, 0);
        push16(f, 5);
        push8(f, 0x01);  // PtgExp to B1
        push16(f, 0);
        push16(f, 1);
        record(s, rt::Formula, f);
        if (r == 0) {
            Body shared;
            push16(shared, 0);
            push16(shared, 2);
            push8(shared, 1);
            push8(shared, 1);
            push16(shared, 3);
            push16(shared, 7);
            push8(shared, 0x3A);   // PtgRef3d
            push16(shared, 0);     // XTI 0: Inputs
            push16(shared, 0);     // row offset 0
            push16(shared, 0xC0FF);  // row and column relative, column offset -1
            record(s, rt::ShrFmla, shared);
        }
    }
    record(s, 0x000A, {});

    auto src = open(compoundFile({{"Workbook", s}}), "shared.xls");
    const auto stream = workbookStreamOf(saved(*src->copyWorksheet(1, kSource)));
    const auto g = excel::biff::parseGlobals(stream, {"copy.xls", "Workbook"});
    std::map<std::uint16_t, double> cached;  // row of Inputs!A -> value
    for (const auto& [type, body] : recordsOf(Bytes(stream).first(g.end))) {
        if (type == rt::Crn && excel::biff::u8(body, 1) == 0 && excel::biff::u8(body, 4) == 0x01) {
            double d;
            std::memcpy(&d, body.data() + 5, 8);
            cached[u16(body, 2)] = d;
        }
    }
    EXPECT_EQ(cached, (std::map<std::uint16_t, double>{{0, 10.0}, {1, 20.0}, {2, 30.0}}));
}
