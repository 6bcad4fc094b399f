// The record layer: records and CONTINUE records over a byte span, the
// shared-string table read and written across CONTINUE boundaries, and the
// formula token walker.

#include "biff_fixture.h"
#include "excel/biff/Formula.h"
#include "excel/biff/RecordTypes.h"
#include "excel/biff/Records.h"
#include "excel/biff/Sst.h"
#include "excel/biff/UsedStrings.h"
#include "platform/sys/Error.h"

#include <deque>
#include <gtest/gtest.h>

#include <algorithm>

using namespace excel::biff;
using biff_fixture::record;

namespace {

const StreamContext kCtx{"book.xls", "Workbook"};

std::string errorOf(const std::function<void()>& f)
{
    try {
        f();
    } catch (const tb::Error& e) {
        return e.description();
    }
    return {};
}

}  // namespace

TEST(BiffRecords, ReadsRecordsAndGathersContinueRecords)
{
    std::vector<std::byte> s;
    record(s, 0x00FC, {std::byte(1), std::byte(2)});
    record(s, rt::Continue, {std::byte(3)});
    record(s, rt::Continue, {});
    record(s, 0x000A, {});
    RecordReader reader(s, 0, kCtx);
    const ContinuedRecord c = readContinued(reader);
    EXPECT_EQ(c.first.type, 0x00FC);
    EXPECT_EQ(c.pieces.size(), 3u);
    EXPECT_EQ(c.joined(), (std::vector<std::byte>{std::byte(1), std::byte(2), std::byte(3)}));
    EXPECT_EQ(c.end, 6u + 5u + 4u);
    const Record eof = reader.next();
    EXPECT_EQ(eof.type, 0x000A);
    EXPECT_EQ(eof.offset, 15u);
    EXPECT_TRUE(reader.atEnd());
}

TEST(BiffRecords, CutOffRecordSaysWhereAndWhat)
{
    std::vector<std::byte> s;
    record(s, 0x0085, std::vector<std::byte>(10));
    s.resize(s.size() - 3);
    const std::string body = errorOf([&] {
        RecordReader r(s, 0, kCtx);
        r.next();
    });
    EXPECT_NE(body.find("'book.xls' is damaged"), std::string::npos) << body;
    EXPECT_NE(body.find("record 0x0085 at offset 0"), std::string::npos) << body;
    EXPECT_NE(body.find("expected 10 bytes"), std::string::npos) << body;

    const std::string header = errorOf([&] {
        std::vector<std::byte> t(3);
        RecordReader r(t, 0, kCtx);
        r.next();
    });
    EXPECT_NE(header.find("record header"), std::string::npos) << header;
}

TEST(BiffSst, WrittenTableReadsBackAcrossContinueRecords)
{
    // Long strings cross several CONTINUE records; wide ones must split on a
    // character and repeat the flags byte, runs and phonetic data follow.
    const std::u16string longText(9000, u'x');
    std::u16string wide;
    for (int i = 0; i < 7000; ++i)
        wide += static_cast<char16_t>(0x3B1 + i % 20);
    const std::vector<std::byte> runs(4 * 3, std::byte(7)), phonetic(9000, std::byte(9));
    std::vector<std::u16string> shortTexts;
    for (int i = 0; i < 200; ++i)
        shortTexts.push_back(u"s" + std::u16string(1, static_cast<char16_t>(u'a' + i % 26)));
    // Each string as a source would store it: a byte a character or two.
    std::deque<std::vector<std::byte>> storage;
    std::vector<std::u16string> texts;
    std::vector<SstString> strings;
    auto add = [&](const std::u16string& t, bool wide, Bytes runs, Bytes ext) {
        auto& b = storage.emplace_back();
        for (char16_t c : t) {
            b.push_back(std::byte(c & 0xFF));
            if (wide)
                b.push_back(std::byte(c >> 8));
        }
        texts.push_back(t);
        strings.push_back({b, wide, runs, ext});
    };
    add(u"short", false, {}, {});
    add(longText, false, {}, {});
    add(wide, true, runs, {});
    add(u"", false, {}, {});
    add(u"with phonetic", false, {}, phonetic);
    add(u"stored wide, written narrow", true, {}, {});
    for (const auto& t : shortTexts)
        add(t, false, {}, {});

    std::vector<std::byte> stream(100, std::byte(0));  // the table starts at offset 100
    writeSst(stream, strings, 1234);

    RecordReader reader(stream, 100, kCtx);
    const ContinuedRecord sst = readContinued(reader);
    EXPECT_GT(sst.pieces.size(), 3u);
    for (Bytes p : sst.pieces)
        EXPECT_LE(p.size(), 8224u);
    EXPECT_EQ(u32(sst.first.body, 0), 1234u);
    const auto back = parseSst(sst, kCtx);
    ASSERT_EQ(back.size(), strings.size());
    for (std::size_t i = 0; i < strings.size(); ++i) {
        EXPECT_EQ(back[i].text(), texts[i]) << i;
        EXPECT_TRUE(std::ranges::equal(back[i].runs, strings[i].runs)) << i;
        EXPECT_TRUE(std::ranges::equal(back[i].ext, strings[i].ext)) << i;
    }

    // Written two bytes a character only where one needs it.
    EXPECT_TRUE(back[2].wide);
    EXPECT_FALSE(back[5].wide);

    // EXTSST: every bucket's stream position is the start of its string.
    const Record ext = reader.next();
    ASSERT_EQ(ext.type, rt::ExtSst);
    const std::size_t perBucket = u16(ext.body, 0);
    EXPECT_GE(perBucket, 8u);
    const std::size_t buckets = (ext.body.size() - 2) / 8;
    EXPECT_EQ(buckets, (strings.size() + perBucket - 1) / perBucket);
    for (std::size_t b = 0; b < buckets; ++b) {
        const std::uint32_t ib = u32(ext.body, 2 + 8 * b);
        const std::uint16_t within = u16(ext.body, 6 + 8 * b);
        EXPECT_EQ(u16(stream, ib), texts[b * perBucket].size()) << b;
        const std::uint16_t recordType = u16(stream, ib - within);
        EXPECT_TRUE(recordType == rt::Sst || recordType == rt::Continue) << b;
    }
}

// A pruned table numbers the kept strings in their old order, across the
// 64-string words of the marks and with strings marked twice.
TEST(BiffSst, KeptStringsAreNumberedInTheirOldOrder)
{
    UsedStrings used(200);
    const std::vector<std::uint32_t> marked{130, 0, 64, 63, 199, 64, 1};
    for (std::uint32_t i : marked)
        used.mark(i);
    used.rank();
    EXPECT_EQ(used.count(), 6u);
    std::vector<std::uint32_t> order;
    used.forEach([&](std::uint32_t i) { order.push_back(i); });
    EXPECT_EQ(order, (std::vector<std::uint32_t>{0, 1, 63, 64, 130, 199}));
    for (std::uint32_t n = 0; n < order.size(); ++n)
        EXPECT_EQ(used.newIndex(order[n]), n) << order[n];
}

TEST(BiffSst, CountBeyondTheRecordsIsDamageNotAnAllocation)
{
    std::vector<std::byte> s;
    biff_fixture::Body body;
    push32(body, 1);
    push32(body, 0x7FFFFFFF);
    record(s, rt::Sst, body);
    RecordReader reader(s, 0, kCtx);
    const ContinuedRecord sst = readContinued(reader);
    EXPECT_NE(errorOf([&] { parseSst(sst, kCtx); }).find("claims"), std::string::npos);
}

TEST(BiffFormula, WalkerFindsNamesAndReferencesAndStopsAtUnknownTokens)
{
    // =IF(x, Name#3, 'Sheet'!A1:B2 + "txt") + ext name, with a CHOOSE jump table
    std::vector<std::byte> f;
    auto b = [&](std::initializer_list<int> xs) {
        for (int x : xs)
            f.push_back(std::byte(x));
    };
    b({0x1E, 1, 0});                          // PtgInt 1
    b({0x19, 0x04, 1, 0, 4, 0, 8, 0});        // PtgAttr tAttrChoose, 1 entry + default
    b({0x23, 3, 0, 0, 0});                    // PtgName 3
    b({0x3B, 2, 0, 0, 0, 1, 0, 0, 0x40, 1, 0xC0});  // PtgArea3d ixti 2, A1:B2 with relative flags
    b({0x17, 3, 0, 't', 'x', 't'});           // PtgStr "txt"
    b({0x39, 5, 0, 7, 0, 0, 0});              // PtgNameX ixti 5, name 7
    b({0x03});                                // PtgAdd

    std::vector<int> names;
    std::vector<std::pair<int, int>> namesX;
    std::vector<Ref3d> refs;
    FormulaVisitor v;
    v.name = [&](std::span<std::byte> index) {
        names.push_back(u16(index, 0));
        index[0] = std::byte(9);  // writable in place
    };
    v.nameX = [&](std::uint16_t ixti, std::span<std::byte> index) { namesX.emplace_back(ixti, u16(index, 0)); };
    v.ref = [&](const Ref3d& r) { refs.push_back(r); };
    EXPECT_TRUE(walkFormula(f, v));
    EXPECT_EQ(names, std::vector<int>{3});
    EXPECT_EQ(u16(f, 12), 9);
    EXPECT_EQ(namesX, (std::vector<std::pair<int, int>>{{5, 7}}));
    ASSERT_EQ(refs.size(), 1u);
    EXPECT_EQ(refs[0].ixti, 2);
    EXPECT_EQ(refs[0].rowFirst, 0);
    EXPECT_EQ(refs[0].rowLast, 1);
    EXPECT_EQ(refs[0].colFirst, 0);
    EXPECT_EQ(refs[0].colLast, 1);

    // Reading alone sees the same tokens.
    namesX.clear();
    refs.clear();
    FormulaReader r;
    r.nameX = [&](std::uint16_t ixti, std::uint16_t index) { namesX.emplace_back(ixti, index); };
    r.ref = [&](const Ref3d& ref) { refs.push_back(ref); };
    EXPECT_TRUE(readFormula(f, r));
    EXPECT_EQ(namesX, (std::vector<std::pair<int, int>>{{5, 7}}));
    ASSERT_EQ(refs.size(), 1u);
    EXPECT_EQ(refs[0].ixti, 2);
    EXPECT_EQ(refs[0].rowLast, 1);
    EXPECT_EQ(refs[0].colLast, 1);

    std::vector<std::byte> unknown{std::byte(0x1A), std::byte(0x23), std::byte(1), std::byte(0), std::byte(0),
                                   std::byte(0)};
    names.clear();
    EXPECT_FALSE(walkFormula(unknown, v));
    EXPECT_TRUE(names.empty());

    std::vector<std::byte> cut{std::byte(0x23), std::byte(1)};
    EXPECT_FALSE(walkFormula(cut, v));
    EXPECT_FALSE(readFormula(cut, r));
}
