// Faults while a copy is written: a sink that fails after N bytes, and a file
// size limit on the process (a full disk as far as the writer can tell).
// Whatever the point of failure, SaveAs leaves no partial file, no temporary
// file, an existing file as it was, and the source untouched. Both formats.

#include "excel/Application.h"
#include "excel/Document.h"
#include "excel/Workbook.h"
#include "excel/Workbooks.h"
#include "excel/Worksheets.h"
#include "platform/sys/AtomicFile.h"
#include "platform/sys/Error.h"
#include "support/SourceGuard.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sys/resource.h>

namespace fs = std::filesystem;

namespace {

// Passes bytes on until `budget` is spent, then fails as a full disk does.
class FailingSink final : public tb::ByteSink {
public:
    FailingSink(tb::ByteSink& next, std::size_t budget) : next_(next), budget_(budget) {}
    void write(std::span<const std::byte> bytes) override
    {
        const std::size_t n = std::min(bytes.size(), budget_);
        if (n > 0)
            next_.write(bytes.first(n));
        budget_ -= n;
        if (n < bytes.size())
            throw tb::Error(tb::err::DiskFull, "Cannot write the file: the disk is full.");
    }
    // Bytes already taken are overwritten in place: no new room is needed.
    void rewrite(std::uint64_t offset, std::span<const std::byte> bytes) override { next_.rewrite(offset, bytes); }

private:
    tb::ByteSink& next_;
    std::size_t budget_;
};

struct Sample {
    const char* file;   // below tests/data
    const char* sheet;
};
const Sample kSamples[] = {{"xlsx/crossref.xlsx", "Calc"}, {"xls/made/crossref.xls", "Calc"}};

std::string readText(const fs::path& p)
{
    const auto b = support::readBytes(p);
    return std::string(b.begin(), b.end());
}

// Everything in `dir` but `keep`: no temporary or partial file may be left.
std::vector<std::string> strays(const fs::path& dir, const std::vector<std::string>& keep)
{
    std::vector<std::string> out;
    for (const auto& e : fs::directory_iterator(dir)) {
        const std::string n = e.path().filename().string();
        if (std::find(keep.begin(), keep.end(), n) == keep.end())
            out.push_back(n);
    }
    return out;
}

class WriteFaults : public ::testing::TestWithParam<Sample> {
protected:
    void SetUp() override
    {
        source_ = dir_.path() / fs::path(GetParam().file).filename();
        fs::copy_file(std::string(TB_TEST_DATA) + "/" + GetParam().file, source_);
        guard_ = std::make_unique<support::SourceGuard>(source_);
        app_.setDisplayAlerts(false);
        app_.GetWorkbooks().Open(source_.string())->Worksheets().Item(GetParam().sheet).Copy();
        copy_ = app_.ActiveWorkbook();
        tb::MemorySink whole;
        copy_->document().save(whole);
        size_ = whole.data.size();
        target_ = dir_.path() / "Calc.xls";
        std::ofstream(target_) << "the file from the run before";
    }
    void TearDown() override { EXPECT_EQ(guard_->changes(), ""); }

    std::vector<std::string> keep() const
    {
        return {source_.filename().string(), target_.filename().string()};
    }

    support::TempDir dir_;
    fs::path source_, target_;
    std::unique_ptr<support::SourceGuard> guard_;
    excel::Application app_;
    std::shared_ptr<excel::Workbook> copy_;
    std::size_t size_ = 0;
};

}  // namespace

TEST_P(WriteFaults, ASinkThatFailsAfterNBytesLeavesTheOldFileAndNoOther)
{
    ASSERT_GT(size_, 100u);
    for (std::size_t n : {std::size_t{0}, std::size_t{1}, std::size_t{30}, size_ / 2, size_ - 1}) {
        SCOPED_TRACE(n);
        try {
            tb::fs::writeFileAtomically(target_, [&](tb::ByteSink& file) {
                FailingSink failing(file, n);
                copy_->document().save(failing);
            });
            ADD_FAILURE() << "the write did not fail";
        } catch (const tb::Error& e) {
            EXPECT_EQ(e.number(), tb::err::DiskFull);
        }
        EXPECT_EQ(readText(target_), "the file from the run before");
        EXPECT_EQ(strays(dir_.path(), keep()), std::vector<std::string>{});
    }
    // With room enough the same copy is written whole.
    tb::fs::writeFileAtomically(target_, [&](tb::ByteSink& file) {
        FailingSink failing(file, size_);
        copy_->document().save(failing);
    });
    EXPECT_EQ(fs::file_size(target_), size_);
}

TEST_P(WriteFaults, SaveAsUnderAFileSizeLimitFailsAndKeepsTheOldFile)
{
    // SIGXFSZ would end the process; ignored, the write fails with EFBIG.
    struct rlimit before {};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    auto* oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit tight = before;
    tight.rlim_cur = size_ / 2;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &tight), 0);
    std::string why;
    int number = 0;
    try {
        copy_->SaveAs(target_.string(), 1);
    } catch (const tb::Error& e) {
        why = e.description();
        number = e.number();
    }
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, oldHandler);

    EXPECT_NE(number, 0) << "SaveAs did not fail";
    EXPECT_NE(why.find(target_.string()), std::string::npos) << why;
    EXPECT_EQ(readText(target_), "the file from the run before");
    EXPECT_EQ(strays(dir_.path(), keep()), std::vector<std::string>{});
    EXPECT_EQ(copy_->Name(), "Book1");  // it still bears its old name
    copy_->SaveAs(target_.string(), 1);
    EXPECT_EQ(fs::file_size(target_), size_);
}

TEST_P(WriteFaults, AFolderThatIsReadOnlyOrGoneFailsWithNothingWritten)
{
    const fs::path locked = dir_.path() / "locked";
    fs::create_directories(locked);
    fs::permissions(locked, fs::perms::owner_read | fs::perms::owner_exec);
    const bool root = ::geteuid() == 0;  // root writes anyway; the vanished case still counts
    if (!root) {
        try {
            copy_->SaveAs((locked / "Calc.xls ").string(), 1);
            ADD_FAILURE() << "saved into a read-only folder";
        } catch (const tb::Error& e) {
            EXPECT_EQ(e.number(), tb::err::PermissionDenied) << e.description();
            EXPECT_NE(e.description().find((locked / "Calc.xls").string()), std::string::npos) << e.description();
        }
        EXPECT_TRUE(fs::is_empty(locked));
    }
    fs::permissions(locked, fs::perms::owner_all);
    fs::remove(locked);
    try {
        copy_->SaveAs((locked / "Calc.xls ").string(), 1);
        ADD_FAILURE() << "saved into a folder that is gone";
    } catch (const tb::Error& e) {
        EXPECT_EQ(e.number(), tb::err::PathNotFound) << e.description();
        EXPECT_NE(e.description().find("Calc.xls"), std::string::npos) << e.description();
    }
    EXPECT_FALSE(fs::exists(locked));
    EXPECT_EQ(strays(dir_.path(), keep()), std::vector<std::string>{});
}

INSTANTIATE_TEST_SUITE_P(BothFormats, WriteFaults, ::testing::ValuesIn(kSamples),
                         [](const auto& info) { return std::string(info.param.file).find(".xlsx") != std::string::npos
                                                           ? std::string("Ooxml") : std::string("Biff8"); });
