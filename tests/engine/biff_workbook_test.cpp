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

TEST(BiffCopy, CountsBeyondTheirRecordsAreRefusedNamingTheFile)
{
    // The shared-string table claims 2^31 strings in 8 bytes; the
    // external-sheet table claims 1000 entries and holds one.
    biff_fixture::Body sst;
    push32(sst, 1);
    push32(sst, 0x7FFFFFFF);
    biff_fixture::Body externSheet;
    push16(externSheet, 1000);
    for (int i = 0; i < 3; ++i)
        push16(externSheet, 0);
    const std::pair<std::uint16_t, biff_fixture::Body> forged[] = {{rt::Sst, sst}, {rt::ExternSheet, externSheet}};
    for (const auto& [type, body] : forged) {
        SCOPED_TRACE(type);
        auto src = open(compoundFile({{"Workbook", workbookStream({{u"One"}, {u"Two"}}, 0x0600, {{type, body}})}}),
                        "forged.xls");
        int number = 0;
        const std::string e = errorOf([&] { src->copyWorksheet(1, kSource); }, &number);
        EXPECT_EQ(number, 1004);
        EXPECT_EQ(e.rfind("'forged.xls' is damaged", 0), 0u) << e;
        EXPECT_NE(e.find(type == rt::Sst ? "claims 2147483647 strings" : "shorter than its count"), std::string::npos)
            << e;
    }
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
// whole file. Never a crash, never a different result.
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
            for (std::size_t i = 0; i < doc->worksheetNames().size(); ++i)
                ASSERT_EQ(saved(*doc->copyWorksheet(i, kSource)), expected.at(i)) << "prefix " << n;
        } catch (const tb::Error& e) {
            ++failures;
            ASSERT_EQ(e.number(), 1004);
            ASSERT_NE(e.description().find("cut.xls"), std::string::npos) << e.description();
        }
    }
    EXPECT_GT(failures, whole.size() * 9 / 10);
}

// Fault table over the Workbook stream itself: every prefix fails to open or
// fails to copy at least the sheet that was cut.
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
                doc->copyWorksheet(i, kSource);
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
