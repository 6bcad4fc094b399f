#include "platform/sys/AtomicFile.h"
#include "platform/sys/Error.h"
#include "platform/sys/PathRules.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

TEST(PathRules, TrailingPeriodsAndBlanksGoFromANameTheProgramMakes)
{
    EXPECT_EQ(tb::fs::trimComponent("Sheet1.xls "), "Sheet1.xls");
    EXPECT_EQ(tb::fs::trimComponent("Book1. . "), "Book1");
    EXPECT_EQ(tb::fs::trimComponent(" lead"), " lead") << "leading blanks stay";
    EXPECT_EQ(tb::fs::trimComponent(".."), "..");
}

TEST(PathRules, ForgedNamesAreRefused)
{
    EXPECT_EQ(tb::fs::whyUnwritable("/out/Book1/Sheet1.xls "), "");
    // Folders that stand on disk are no concern of the rules, whatever they end in.
    EXPECT_EQ(tb::fs::whyUnwritable("/home/u/ACME Inc./out /.../Sheet1.xls "), "");
    EXPECT_NE(tb::fs::whyUnwritable("/out/Book1/../x.xls "), "");
    EXPECT_NE(tb::fs::whyUnwritable("/out/Book1/./x.xls"), "");
    EXPECT_NE(tb::fs::whyUnwritable(std::string("/out/a\0b.xls", 13)), "");
    EXPECT_NE(tb::fs::whyUnwritable("/out/a\tb.xls"), "");
    EXPECT_NE(tb::fs::whyUnwritable("/out/... "), "");
    EXPECT_NE(tb::fs::whyUnwritable("/out/" + std::string(300, 'x') + ".xls"), "");
    EXPECT_NE(tb::fs::whyUnwritable(""), "");
    EXPECT_NE(tb::fs::whyUnwritable("/out/"), "");
}

// Fails once it has taken `limit` bytes, as a full disk would.
struct FailAfter {
    std::size_t limit;
    void operator()(tb::ByteSink& sink) const
    {
        std::vector<std::byte> chunk(100, std::byte{'n'});
        for (std::size_t written = 0;; written += chunk.size()) {
            if (written + chunk.size() > limit)
                throw tb::Error(tb::err::DiskFull, "disk full");
            sink.write(chunk);
        }
    }
};

TEST(AtomicFile, AFailedWriteLeavesTheOldFileAndNoTemporary)
{
    support::TempDir dir;
    const fs::path target = dir / "out.xls";
    support::writeBytes(target, {'o', 'l', 'd'});
    for (std::size_t limit : {0u, 100u, 1000u}) {
        EXPECT_THROW(tb::fs::writeFileAtomically(target, FailAfter{limit}), tb::Error);
        EXPECT_EQ(support::readBytes(target), (std::vector<char>{'o', 'l', 'd'}));
    }
    int entries = 0;
    for ([[maybe_unused]] const auto& e : fs::directory_iterator(dir.path()))
        ++entries;
    EXPECT_EQ(entries, 1);

    tb::fs::writeFileAtomically(target, [](tb::ByteSink& s) {
        const std::byte b[] = {std::byte{'n'}, std::byte{'e'}, std::byte{'w'}};
        s.write(b);
    });
    EXPECT_EQ(support::readBytes(target), (std::vector<char>{'n', 'e', 'w'}));
}

// A process that dies mid-write (no destructor runs) leaves no file of any
// name where the file system has unnamed files; a write that ends gives the
// whole file, readable by others as any new file.
TEST(AtomicFile, AnInterruptedWriteLeavesNothingBehind)
{
    support::TempDir dir;
    const int probe = ::open(dir.path().c_str(), O_TMPFILE | O_WRONLY, 0600);
    if (probe < 0)
        GTEST_SKIP() << "this file system has no unnamed files";
    ::close(probe);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        auto* f = new tb::fs::AtomicFile(dir / "out.xls");
        const std::byte b[4096] = {};
        f->write(b);
        ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(fs::is_empty(dir.path()));

    tb::fs::writeFileAtomically(dir / "out.xls", [](tb::ByteSink& s) {
        const std::byte b[] = {std::byte{'o'}, std::byte{'k'}};
        s.write(b);
    });
    EXPECT_EQ(support::readBytes(dir / "out.xls"), (std::vector<char>{'o', 'k'}));
    const int plain = ::open((dir / "plain").c_str(), O_WRONLY | O_CREAT, 0644);
    ASSERT_GE(plain, 0);
    ::close(plain);
    EXPECT_EQ(fs::status(dir / "out.xls").permissions(), fs::status(dir / "plain").permissions());
}

TEST(AtomicFile, AMissingFolderIsPathNotFoundAndCreatesNothing)
{
    support::TempDir dir;
    try {
        tb::fs::AtomicFile f(dir / "missing" / "x.xls");
        FAIL();
    } catch (const tb::Error& e) {
        EXPECT_EQ(e.number(), tb::err::PathNotFound);
        EXPECT_NE(e.description().find("x.xls"), std::string::npos);
    }
    EXPECT_FALSE(fs::exists(dir / "missing"));
}

}  // namespace
