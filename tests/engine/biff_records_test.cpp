// The record layer: records and CONTINUE records over a byte span or a
// window at a time, the shared-string table read and written across
// CONTINUE boundaries, and the formula token walker.

#include "biff_fixture.h"
#include "excel/biff/Formula.h"
#include "excel/biff/RecordTypes.h"
#include "excel/biff/Records.h"
#include "excel/biff/Sst.h"
#include "excel/biff/Substreams.h"
#include "excel/biff/UsedStrings.h"
#include "platform/sys/Error.h"

#include <deque>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

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

// Sheets read as a scattered stream reads them: every answer a buffer of
// its own, and the one before spoilt, so that a body used after the next
// read shows.
class GatheredSubstreams final : public Substreams {
public:
    GatheredSubstreams(std::vector<std::byte> stream, std::vector<std::size_t> starts)
        : stream_(std::move(stream)), starts_(std::move(starts))
    {
    }
    std::size_t size() const override { return stream_.size(); }
    std::size_t endOf(std::size_t position) const override
    {
        const auto next = std::upper_bound(starts_.begin(), starts_.end(), position);
        return next == starts_.end() ? stream_.size() : *next;
    }
    Bytes read(std::size_t position, std::size_t n) override
    {
        EXPECT_LE(position + n, endOf(position)) << "a read past the substream";
        std::fill(buffer_.begin(), buffer_.end(), std::byte(0xEE));
        buffer_.assign(stream_.begin() + static_cast<std::ptrdiff_t>(position),
                       stream_.begin() + static_cast<std::ptrdiff_t>(position + n));
        ++reads;
        return buffer_;
    }
    int reads = 0;

private:
    std::vector<std::byte> stream_;
    std::vector<std::size_t> starts_;
    std::vector<std::byte> buffer_;
};

}  // namespace

TEST(BiffRecords, ASubstreamReadAWindowAtATimeReadsAsTheWholeStream)
{
    // Three windows' worth of records of every size up to the largest, then
    // the next sheet's substream, whose records must not be read.
    std::vector<std::byte> s;
    for (std::size_t i = 0; s.size() < 3 * kSubstreamWindow; ++i)
        record(s, static_cast<std::uint16_t>(0x0200 + i % 50),
               biff_fixture::Body((i * 997) % 8225, static_cast<std::byte>(i)));
    const std::size_t next = s.size();
    record(s, rt::Bof, biff_fixture::bof(0x0600, 0x0010));

    GatheredSubstreams sheets(s, {0, next});
    SubstreamRecords windowed(sheets, 0, kCtx);
    RecordReader whole(Bytes(s).first(next), 0, kCtx);
    while (!whole.atEnd()) {
        ASSERT_FALSE(windowed.atEnd());
        const Record want = whole.next();
        ASSERT_EQ(windowed.peekType(), want.type) << want.offset;
        const Record got = windowed.next();
        ASSERT_EQ(got.offset, want.offset);
        ASSERT_EQ(got.type, want.type) << want.offset;
        ASSERT_TRUE(std::ranges::equal(got.body, want.body)) << want.offset;
    }
    EXPECT_TRUE(windowed.atEnd());
    EXPECT_EQ(windowed.position(), next);
    EXPECT_EQ(windowed.peekType(), 0);
    EXPECT_GE(sheets.reads, 3);
    EXPECT_LE(sheets.reads, 5) << "a window for each record, not for each window";

    // A record that the next substream's start cuts off is damage, as it is
    // to a reader of the whole stream.
    std::vector<std::byte> cut = s;
    for (std::size_t at = 0; at + 4 <= next;) {
        const std::size_t size = u16(s, at + 2);
        if (at + 4 + size == next) {
            put16(cut, at + 2, static_cast<std::uint16_t>(size + 3));
            break;
        }
        at += 4 + size;
    }
    GatheredSubstreams cutSheets(cut, {0, next});
    SubstreamRecords cutWindowed(cutSheets, 0, kCtx);
    RecordReader cutWhole(Bytes(cut).first(next), 0, kCtx);
    const std::string want = errorOf([&] {
        while (!cutWhole.atEnd())
            cutWhole.next();
    });
    const std::string got = errorOf([&] {
        while (!cutWindowed.atEnd())
            cutWindowed.next();
    });
    EXPECT_NE(want.find("expected"), std::string::npos) << want;
    EXPECT_EQ(got, want);
}

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
    auto same = [&](const SstString& got, std::size_t i) {
        EXPECT_EQ(got.text(), texts[i]) << i;
        EXPECT_TRUE(std::ranges::equal(got.runs, strings[i].runs)) << i;
        EXPECT_TRUE(std::ranges::equal(got.ext, strings[i].ext)) << i;
    };
    // Each string alone, from the last to the first, and in rising order
    // with gaps short and long, as a copy reads the strings it keeps.
    for (std::size_t i = strings.size(); i-- > 0;)
        same(back[i], i);
    for (std::size_t step : {1, 2, 5, 31, 33, 70}) {
        SstTable::Walk walk(back);
        for (std::size_t i = step % 3; i < strings.size(); i += step)
            same(walk(i), i);
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

// A count beyond what the records hold is no allocation: the table holds
// what its records hold, and a string cut off by the end is not one of them.
TEST(BiffSst, ATableReadsOnlyWhatItsRecordsHold)
{
    for (const std::uint32_t count : {0x7FFFFFFFu, 3u}) {
        SCOPED_TRACE(count);
        std::vector<std::byte> s;
        biff_fixture::Body body;
        push32(body, 1);
        push32(body, count);
        for (const char* text : {"ab", "cde"}) {
            push16(body, static_cast<std::uint16_t>(std::strlen(text)));
            push8(body, 0);
            for (const char* c = text; *c; ++c)
                push8(body, static_cast<std::uint8_t>(*c));
        }
        push16(body, 40);  // a third string of 40 characters, cut after two
        push8(body, 0);
        push8(body, 'x');
        push8(body, 'y');
        record(s, rt::Sst, body);
        RecordReader reader(s, 0, kCtx);
        const ContinuedRecord sst = readContinued(reader);
        const SstTable table = parseSst(sst, kCtx);
        EXPECT_EQ(table.size(), 2u);
        EXPECT_EQ(table.claimed(), count);
        EXPECT_EQ(table[1].text(), u"cde");
    }
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
