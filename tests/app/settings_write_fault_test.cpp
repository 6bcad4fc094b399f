// The settings file survives a write that fails part way: the disk fills up
// (a file-size limit on the process stands in for it) or the file is
// read-only. The user sees "Can't Write Setting to config file" and the file
// keeps every byte it had; no temporary file is left beside it.

#include "SettingsFixture.h"
#include "app/clsSetting.h"
#include "support/ScriptedPlatform.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <sys/resource.h>
#include <unistd.h>

using support::readBytes;
using support::utf16File;
using support::writeBytes;

namespace {

struct SettingsWriteFault : SettingsFixture {
    std::vector<std::string> strays() const
    {
        std::vector<std::string> out;
        for (const auto& e : std::filesystem::directory_iterator(dir.path()))
            if (e.path() != file)
                out.push_back(e.path().filename().string());
        return out;
    }
};

TEST_F(SettingsWriteFault, AFullDiskLeavesTheOldFileWhole)
{
    const auto original = utf16File({u"DisplayExcel=1", u"OutputFolder=/home/user/out", u"Caption=Tamberlin"});
    writeBytes(file, original);
    struct rlimit before {};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    auto* oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    {
        app::clsSetting s(path(), box);
        EXPECT_EQ(s.SetSetting("OutputFolder", QString(400, QChar('x'))), 1);
        // Room for less than the old file: the write of the new one fails part way.
        struct rlimit tight = before;
        tight.rlim_cur = original.size() / 2;
        ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &tight), 0);
    }
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, oldHandler);

    EXPECT_EQ(box.texts(), QStringList{"Can't Write Setting to config file"});
    EXPECT_EQ(readBytes(file), original);
    EXPECT_EQ(strays(), std::vector<std::string>{});
}

TEST_F(SettingsWriteFault, AReadOnlyFileIsReportedAndKept)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "root writes to read-only files";
    const auto original = utf16File({u"k=v"});
    writeBytes(file, original);
    {
        app::clsSetting s(path(), box);
        s.SetSetting("k", "changed");
        std::filesystem::permissions(file, std::filesystem::perms::owner_read);
    }
    std::filesystem::permissions(file, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    EXPECT_EQ(box.texts(), QStringList{"Can't Write Setting to config file"});
    EXPECT_EQ(readBytes(file), original);
    EXPECT_EQ(strays(), std::vector<std::string>{});
}

}  // namespace
