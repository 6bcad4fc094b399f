// The compound-file layer: what it writes libgsf reads back whole, and
// damaged files (bad header, a sector chain that loops, a size larger than
// the file) end in an error naming the file instead of a crash or a hang.

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

TEST(CompoundFile, SectorChainLoopEndsInAnErrorNotAHang)
{
    auto file = written(sampleTree());
    auto bytes = std::vector<std::byte>(file->bytes().begin(), file->bytes().end());
    const std::size_t entry = directoryEntry(bytes, u"Workbook");
    ASSERT_NE(entry, 0u);
    const std::uint32_t start = u32(bytes, entry + 0x74);
    const std::uint32_t fatSector = u32(bytes, 0x4C);
    // The stream's second sector points back at its first.
    const std::size_t fat = 512 + 512 * std::size_t(fatSector);
    const std::uint32_t second = u32(bytes, fat + 4 * start);
    put32(bytes, fat + 4 * second, start);

    bool failed = false;
    try {
        auto root = cfb::openCompoundFile(std::make_shared<tb::MemorySource>(bytes), "loop.xls");
        auto wb = root->openStream("Workbook");
        if (wb)
            readAll(*wb);
    } catch (const tb::Error& e) {
        failed = true;
        EXPECT_NE(e.description().find("'loop.xls'"), std::string::npos) << e.description();
    }
    EXPECT_TRUE(failed);
}

TEST(CompoundFile, StreamLargerThanTheFileIsNeverRead)
{
    auto file = written(sampleTree());
    auto bytes = std::vector<std::byte>(file->bytes().begin(), file->bytes().end());
    const std::size_t entry = directoryEntry(bytes, u"Workbook");
    ASSERT_NE(entry, 0u);
    put32(bytes, entry + 0x78, 0x7FFFFFF0);
    try {
        auto root = cfb::openCompoundFile(std::make_shared<tb::MemorySource>(bytes), "huge.xls");
        // libgsf drops such an entry; where it does not, opening it fails.
        EXPECT_EQ(root->openStream("Workbook"), nullptr);
    } catch (const tb::Error& e) {
        EXPECT_EQ(e.number(), 1004);
        EXPECT_NE(e.description().find("huge.xls"), std::string::npos);
    }
}
