#include "app/AppPaths.h"
#include "app/CommonDefine.h"
#include "app/TextToBoolean.h"
#include "support/ScriptedPlatform.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

TEST(AddTrailingBackslash, AddsOneSeparatorOnlyWhenTheLastCharacterIsNotOne)
{
    EXPECT_EQ(app::AddTrailingBackslash(""), "/");
    EXPECT_EQ(app::AddTrailingBackslash("/"), "/");
    EXPECT_EQ(app::AddTrailingBackslash("/out"), "/out/");
    EXPECT_EQ(app::AddTrailingBackslash("/out/"), "/out/");
    EXPECT_EQ(app::AddTrailingBackslash(app::AddTrailingBackslash("/out")), "/out/");
    EXPECT_EQ(app::AddTrailingBackslash("/out\\"), "/out\\/") << "only the platform's separator counts";
}

TEST(BrowseForFolderPath, StartsAtTheRootAndAnswersEmptyOnCancel)
{
    support::ScriptedFolderBrowser browser;
    browser.answers = {"/data/out", ""};
    EXPECT_EQ(app::BrowseForFolderPath(browser, "Please select output folder"), "/data/out");
    EXPECT_EQ(app::BrowseForFolderPath(browser, "Add all Excel files in the folder"), "");
    EXPECT_EQ(browser.titles, (QStringList{"Please select output folder", "Add all Excel files in the folder"}));
    EXPECT_EQ(browser.roots, (QStringList{"/", "/"}));
}

TEST(ErrorReports, ExactTextsOfTheFourReports)
{
    const tb::Error e(-2147417848, "The object invoked has disconnected from its clients.");
    EXPECT_EQ(app::commonErrorText(e, "mnuSplit_Click"),
              "Err Number: -2147417848\r\nErr Description: The object invoked has disconnected from its clients.\r\n"
              "Err Proc: mnuSplit_Click");
    EXPECT_EQ(app::mainErrorText(tb::Error(53, "File not found")), "Err Number: 53\r\nErr Description: File not found");
    EXPECT_EQ(app::folderErrorText(tb::Error(76, "Path not found"), "/x"),
              "Error Number: 76\r\n Error Description: Path not found\r\nError Folder Name: /x");
    EXPECT_EQ(app::fileErrorText(tb::Error(1004, "bad"), "/x/a.xls"),
              "Error Number: 1004\r\n Error Description: bad\r\nError File Name: /x/a.xls");
}

TEST(ErrorReports, AGuardReportsOnceAndTheCallerGoesOn)
{
    support::ScriptedMessageBox box;
    bool outerFinished = false;
    app::guarded(box, "Outer", [&] {
        app::guarded(box, "Inner", [] { throw tb::Error(9, "Subscript out of range"); });
        outerFinished = true;
    });
    EXPECT_TRUE(outerFinished);
    ASSERT_EQ(box.shown.size(), 1u);
    EXPECT_TRUE(box.shown[0].text.endsWith("Err Proc: Inner"));
    EXPECT_EQ(box.shown[0].style, 0);

    box.shown.clear();
    app::guarded(box, "GetVersionString", [] { throw std::runtime_error("boom"); });
    ASSERT_EQ(box.shown.size(), 1u);
    EXPECT_TRUE(box.shown[0].text.startsWith("Err Number: 51\r\n"));
}

TEST(TextToBoolean, NumbersAndTheTwoWordsOnly)
{
    for (const char* t : {"1", "-1", "2", " 1 ", "1.5", "+3", ".5", "1e3", "&H1", "&hFF", "&O7", "True", "TRUE", "true"})
        EXPECT_TRUE(app::textToBoolean(t)) << t;
    for (const char* t : {"0", "-0", "0.0", "0e5", "&H0", "False", "fAlSe"})
        EXPECT_FALSE(app::textToBoolean(t)) << t;
    for (const char* t : {"", " ", "yes", "1a", "Truee", "--1", "1,0", "&H", "&HG"}) {
        try {
            app::textToBoolean(t);
            ADD_FAILURE() << "'" << t << "' must not convert";
        } catch (const tb::Error& e) {
            EXPECT_EQ(e.number(), 13) << t;
        }
    }
}

TEST(AppFile, FindsFilesWhateverTheCaseOfTheSpelledPath)
{
    support::TempDir dir;
    std::filesystem::create_directories(dir / "Icon");
    support::writeBytes(dir / "Icon" / "Add.ICO", {'x'});
    support::writeBytes(dir / "Icon" / "hand.cur", {'x'});
    const QString appDir = QString::fromStdString(dir.path().string());
    const QString expected = QString::fromStdString((dir / "Icon" / "Add.ICO").string());
    EXPECT_EQ(app::appFile(appDir, "\\ICON\\Add.ICO"), expected);
    EXPECT_EQ(app::appFile(appDir, "\\Icon\\add.ico"), expected);
    EXPECT_EQ(app::appFile(appDir, "\\icon\\hand.cur"), QString::fromStdString((dir / "Icon" / "hand.cur").string()));
    EXPECT_EQ(app::appFile(appDir, "\\ICON\\Missing.ico"), QString::fromStdString((dir / "Icon" / "Missing.ico").string()))
        << "a missing file keeps its spelling so that a report names it";
    EXPECT_EQ(app::appFile(appDir, "\\Nope\\x.ico"), appDir + "/Nope/x.ico");
}

}  // namespace
