// The compound-file layer: what it writes libgsf reads back whole, and
// damaged files (bad header, sector chains that loop or cross, a size larger
// than the file) end in an error naming the file instead of a crash or a hang.

#include "excel/biff/Bytes.h"
#include "excel/cfb/CompoundFile.h"
#include "platform/sys/Error.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace excel;
using excel::biff::put32;
using excel::biff::u16;
using excel::biff::u32;

namespace {

std::vector<std::byte> pattern(std::size_t n, unsigned seed)
{
    std::vector<std::byte> v(n);
    for (std::size_t i = 0; i < n; ++i)
        v[i] = std::byte((i * 31 + seed) & 0xFF);
    return v;
}

cfb::Node sampleTree()
{
    cfb::Node root;
    root.storage = true;
    root.classId = {0x20, 0x08, 0x02, 0, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46};
    cfb::Node big{"Workbook", false, pattern(70000, 1), {}, {}};
    cfb::Node small{"\x05SummaryInformation", false, pattern(300, 2), {}, {}};
    cfb::Node ole{"\x01Ole", false, pattern(20, 3), {}, {}};
    cfb::Node embedding{"_1234", true, {}, {ole}, {}};
    embedding.classId[0] = 0x42;
    cfb::Node pool{"ObjectPool", true, {}, {embedding}, {}};
    root.children = {big, small, pool};
    return root;
}

std::shared_ptr<tb::MemorySource> written(const cfb::Node& root)
{
    tb::MemorySink sink;
    cfb::writeCompoundFile(root, sink, "test.xls");
    return std::make_shared<tb::MemorySource>(std::move(sink.data));
}

std::vector<std::byte> readAll(cfb::Stream& s)
{
    std::vector<std::byte> out;
    s.read(0, static_cast<std::size_t>(s.size()), out);
    return out;
}

// The directory entry of `name` in a file with 512-byte sectors: its offset.
std::size_t directoryEntry(const std::vector<std::byte>& f, const std::u16string& name)
{
    const std::size_t dirStart = 512 + 512 * std::size_t(u32(f, 0x30));
    for (std::size_t e = dirStart; e + 128 <= f.size(); e += 128) {
        const std::size_t len = u16(f, e + 0x40);
        if (len != 2 * (name.size() + 1))
            continue;
        bool same = true;
        for (std::size_t i = 0; i < name.size(); ++i)
            same = same && u16(f, e + 2 * i) == name[i];
        if (same)
            return e;
    }
    return 0;
}

}  // namespace

TEST(CompoundFile, WritesWhatLibgsfReadsBack)
{
    const cfb::Node tree = sampleTree();
    auto file = written(tree);
    auto root = cfb::openCompoundFile(file, "test.xls");
    EXPECT_EQ(root->classId(), tree.classId);
    const auto names = root->childNames();
    ASSERT_EQ(names.size(), 3u);
    EXPECT_FALSE(root->isStorage("Workbook"));
    EXPECT_TRUE(root->isStorage("ObjectPool"));

    auto wb = root->openStream("Workbook");
    ASSERT_TRUE(wb);
    EXPECT_EQ(readAll(*wb), tree.children[0].data);
    std::vector<std::byte> part;  // a range from the middle, as listing reads
    wb->read(1000, 5000, part);
    EXPECT_TRUE(std::equal(part.begin(), part.end(), tree.children[0].data.begin() + 1000));

    auto summary = root->openStream("\x05SummaryInformation");  // a mini-stream entry
    ASSERT_TRUE(summary);
    EXPECT_EQ(readAll(*summary), tree.children[1].data);

    EXPECT_EQ(root->openStream("ObjectPool"), nullptr);
    EXPECT_EQ(root->openStorage("Workbook"), nullptr);
    EXPECT_EQ(root->openStream("Missing"), nullptr);

    const cfb::Node pool = cfb::readTree(*root, "ObjectPool", "test.xls");
    ASSERT_EQ(pool.children.size(), 1u);
    EXPECT_EQ(pool.children[0].name, "_1234");
    EXPECT_EQ(pool.children[0].classId[0], 0x42);
    ASSERT_EQ(pool.children[0].children.size(), 1u);
    EXPECT_EQ(pool.children[0].children[0].data, pattern(20, 3));
}

TEST(CompoundFile, ReadingPastTheEndOfAStreamIsAnError)
{
    auto root = cfb::openCompoundFile(written(sampleTree()), "test.xls");
    auto wb = root->openStream("Workbook");
    std::vector<std::byte> out;
    EXPECT_THROW(wb->read(69990, 11, out), tb::Error);
    EXPECT_TRUE(out.empty());
}

TEST(CompoundFile, DamagedHeaderNamesTheFile)
{
    std::vector<std::byte> bytes(2048, std::byte(0x55));
    const unsigned char sig[] = {0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};
    std::memcpy(bytes.data(), sig, 8);
    try {
        cfb::openCompoundFile(std::make_shared<tb::MemorySource>(bytes), "broken.xls");
        FAIL() << "a damaged header was accepted";
    } catch (const tb::Error& e) {
        EXPECT_EQ(e.number(), 1004);
        EXPECT_NE(e.description().find("'broken.xls'"), std::string::npos) << e.description();
    }
}

// Sector chains bent in the allocation table. The Workbook stream of the
// sample holds 137 sectors; the summary stream lies in the mini stream, whose
// container the root entry owns.
TEST(CompoundFile, BentSectorChainsAreRefusedWhereTheyReachTheBytes)
{
    struct Case {
        const char* what;
        std::size_t from;  // which sector of the Workbook chain gets a new successor
        int to;            // its new successor: a sector of the same chain, or -1 for the root's container
        bool refused;
    };
    const Case cases[] = {
        {"its second sector points back at its first", 1, 0, true},
        {"its last sector points back at its first", 136, 0, true},
        {"its second sector points into the mini-stream container", 1, -1, true},
    };
    const auto base = written(sampleTree());
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        auto bytes = std::vector<std::byte>(base->bytes().begin(), base->bytes().end());
        const std::size_t fat = 512 + 512 * std::size_t(u32(bytes, 0x4C));
        std::vector<std::uint32_t> chain{u32(bytes, directoryEntry(bytes, u"Workbook") + 0x74)};
        while (chain.size() < 137)
            chain.push_back(u32(bytes, fat + 4 * chain.back()));
        ASSERT_EQ(u32(bytes, fat + 4 * chain.back()), 0xFFFFFFFEu);
        const std::uint32_t container = u32(bytes, directoryEntry(bytes, u"Root Entry") + 0x74);
        put32(bytes, fat + 4 * chain[c.from], c.to < 0 ? container : chain[std::size_t(c.to)]);
        try {
            auto root = cfb::openCompoundFile(std::make_shared<tb::MemorySource>(bytes), "bent.xls");
            EXPECT_EQ(readAll(*root->openStream("Workbook")), sampleTree().children[0].data);
            EXPECT_FALSE(c.refused) << "read";
        } catch (const tb::Error& e) {
            EXPECT_TRUE(c.refused) << e.description();
            EXPECT_EQ(e.number(), 1004);
            EXPECT_NE(e.description().find("'bent.xls'"), std::string::npos) << e.description();
            EXPECT_NE(e.description().find("'Workbook'"), std::string::npos) << e.description();
        }
    }

    // A chain that goes on past its bytes into another stream's sectors is
    // harmless: nothing reads that tail (xlrd's corrupted_error.xls is such a
    // file). The root's container gets the Workbook stream as its tail here.
    auto bytes = std::vector<std::byte>(base->bytes().begin(), base->bytes().end());
    const std::size_t fat = 512 + 512 * std::size_t(u32(bytes, 0x4C));
    std::uint32_t last = u32(bytes, directoryEntry(bytes, u"Root Entry") + 0x74);
    while (u32(bytes, fat + 4 * last) != 0xFFFFFFFEu)
        last = u32(bytes, fat + 4 * last);
    put32(bytes, fat + 4 * last, u32(bytes, directoryEntry(bytes, u"Workbook") + 0x74));
    auto root = cfb::openCompoundFile(std::make_shared<tb::MemorySource>(bytes), "tail.xls");
    EXPECT_EQ(readAll(*root->openStream("Workbook")), sampleTree().children[0].data);
    EXPECT_EQ(readAll(*root->openStream("\x05SummaryInformation")), sampleTree().children[1].data);
}

TEST(CompoundFile, StreamLargerThanTheFileIsNeverRead)
{
    auto file = written(sampleTree());
    auto bytes = std::vector<std::byte>(file->bytes().begin(), file->bytes().end());
    const std::size_t entry = directoryEntry(bytes, u"Workbook");
    ASSERT_NE(entry, 0u);
    put32(bytes, entry + 0x78, 0x7FFFFFF0);
    // The chain ends where the stream's bytes do: they are what is read, and
    // the short chain is reported.
    auto root = cfb::openCompoundFile(std::make_shared<tb::MemorySource>(bytes), "huge.xls");
    const auto read = readAll(*root->openStream("Workbook"));
    const auto tree = sampleTree();
    const auto& data = tree.children[0].data;
    ASSERT_GE(read.size(), data.size());
    EXPECT_TRUE(std::equal(data.begin(), data.end(), read.begin()));
    ASSERT_EQ(root->repairs().size(), 1u);
    EXPECT_EQ(root->repairs()[0].first, "Workbook");
    EXPECT_NE(root->repairs()[0].second.find("the stream 'Workbook' ends early"), std::string::npos);
}
