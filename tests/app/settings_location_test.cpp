// Which settings file the program reads and rewrites: the one beside the
// executable when it can be rewritten there (a build folder, a portable
// copy), else the user's own copy under the XDG configuration folder, made
// from the shipped file at the first start.

#include "app/SettingsLocation.h"
#include "app/clsSetting.h"
#include "support/ScriptedPlatform.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <unistd.h>

using support::readBytes;
using support::utf16File;
using support::writeBytes;

namespace {

namespace fs = std::filesystem;

QString q(const fs::path& p) { return QString::fromStdString(p.string()); }

struct SettingsLocation : ::testing::Test {
    support::TempDir dir;
    support::ScriptedMessageBox box;
    fs::path shipped = dir / "app" / "Config" / "Config.cfg";
    fs::path configHome = dir / "config";
    fs::path user = configHome / "tamberlin" / "Config.cfg";
    std::vector<char> shippedBytes = utf16File({u"DisplayExcel=0", u"frmMainCaption=Tamberlin", u"HomePage=h"});
    app::UserFolders folders{q(configHome), q(dir / "home")};

    SettingsLocation()
    {
        fs::create_directories(shipped.parent_path());
        writeBytes(shipped, shippedBytes);
    }
    // An installed program: the folder beside the executable belongs to root.
    QString chooseInstalled() const
    {
        return app::chooseSettingsFile(q(shipped), folders, [](const QString&) { return false; });
    }
};

TEST_F(SettingsLocation, AWritableFileBesideTheProgramIsUsedAndNothingIsCopied)
{
    EXPECT_EQ(app::chooseSettingsFile(q(shipped), folders), q(shipped));
    EXPECT_FALSE(fs::exists(configHome));
}

TEST_F(SettingsLocation, AnInstalledProgramKeepsTheUsersOwnCopyAndItsChanges)
{
    EXPECT_EQ(chooseInstalled(), q(user));
    EXPECT_EQ(readBytes(user), shippedBytes);  // a byte copy

    {  // options applied and the program ended: the user's file is rewritten
        app::clsSetting s(chooseInstalled(), box);
        EXPECT_EQ(s.SetSetting("DisplayExcel", "1"), 1);
    }
    EXPECT_TRUE(box.texts().isEmpty());
    EXPECT_EQ(readBytes(shipped), shippedBytes);

    // The next start finds the change: the copy is made once only.
    app::clsSetting again(chooseInstalled(), box);
    QString value;
    again.GetSetting("DisplayExcel", value);
    EXPECT_EQ(value, "1");
}

TEST_F(SettingsLocation, TheConfigurationFolderFollowsTheBaseDirectoryRules)
{
    const QString home = q(dir / "home");
    EXPECT_EQ(app::userSettingsFile({"/x/cfg", home}), "/x/cfg/tamberlin/Config.cfg");
    EXPECT_EQ(app::userSettingsFile({"", home}), home + "/.config/tamberlin/Config.cfg");
    EXPECT_EQ(app::userSettingsFile({"relative/cfg", home}), home + "/.config/tamberlin/Config.cfg");
    EXPECT_EQ(app::userSettingsFile({"", ""}), "");

    folders.configHome.clear();
    EXPECT_EQ(chooseInstalled(), home + "/.config/tamberlin/Config.cfg");
    EXPECT_EQ(readBytes(dir / "home" / ".config" / "tamberlin" / "Config.cfg"), shippedBytes);
}

TEST_F(SettingsLocation, ADamagedUserFileIsReadAsFarAsItGoesAndKeepsItsLines)
{
    fs::create_directories(user.parent_path());
    const auto damaged = utf16File({u"DisplayExcel=1", u"garbage without equals", u"HomePage=mine"});
    writeBytes(user, damaged);

    ASSERT_EQ(chooseInstalled(), q(user));  // not replaced by the shipped file
    {
        app::clsSetting s(q(user), box);
        QString value;
        EXPECT_EQ(s.GetSetting("DisplayExcel", value), 1);
        EXPECT_EQ(value, "1");
        EXPECT_EQ(s.GetSetting("HomePage", value), 2);
    }
    EXPECT_EQ(box.texts(), QStringList{"Can't Read Setting from config file"});
    EXPECT_EQ(readBytes(user), damaged);
    EXPECT_EQ(readBytes(shipped), shippedBytes);

    // Removing the damaged file brings back a fresh copy at the next start.
    fs::remove(user);
    EXPECT_EQ(chooseInstalled(), q(user));
    EXPECT_EQ(readBytes(user), shippedBytes);
}

TEST_F(SettingsLocation, WhenNoUserFileCanBeMadeTheShippedOneIsReadAsBefore)
{
    // A configuration "folder" that is a file: nothing can be made below it,
    // whoever runs the program.
    writeBytes(configHome, {'x'});
    EXPECT_EQ(chooseInstalled(), q(shipped));
    EXPECT_EQ(readBytes(configHome), std::vector<char>{'x'});

    // No configuration folder known at all.
    EXPECT_EQ(app::chooseSettingsFile(q(shipped), {"", ""}, [](const QString&) { return false; }), q(shipped));
}

TEST_F(SettingsLocation, AMissingShippedFileIsNotCopiedSoItsErrorNamesIt)
{
    fs::remove(shipped);
    EXPECT_EQ(chooseInstalled(), q(shipped));
    EXPECT_FALSE(fs::exists(user));
}

// The permission cases need a user whom the file system can refuse.
TEST_F(SettingsLocation, ReadOnlyFilesOrFoldersAreNotRewrittenInPlace)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "root may write read-only files";
    EXPECT_TRUE(app::canRewriteInPlace(q(shipped)));
    fs::permissions(shipped.parent_path(), fs::perms::owner_read | fs::perms::owner_exec);
    EXPECT_FALSE(app::canRewriteInPlace(q(shipped)));  // the writer renames into the folder
    EXPECT_EQ(app::chooseSettingsFile(q(shipped), folders), q(user));
    fs::permissions(shipped.parent_path(), fs::perms::owner_all);
    fs::permissions(shipped, fs::perms::owner_read);
    EXPECT_FALSE(app::canRewriteInPlace(q(shipped)));
    EXPECT_FALSE(app::canRewriteInPlace(q(dir / "missing.cfg")));
}

TEST_F(SettingsLocation, AnUnwritableUserFileIsReportedAtExitAndKept)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "root may write read-only files";
    ASSERT_EQ(chooseInstalled(), q(user));
    fs::permissions(user, fs::perms::owner_read);
    {
        app::clsSetting s(chooseInstalled(), box);
        s.SetSetting("DisplayExcel", "1");
    }
    fs::permissions(user, fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(box.texts(), QStringList{"Can't Write Setting to config file"});
    EXPECT_EQ(readBytes(user), shippedBytes);
}

}  // namespace
