#include "SettingsFixture.h"
#include "app/clsSetting.h"
#include "app/scripting/TextStream.h"
#include "platform/sys/Error.h"
#include "support/ScriptedPlatform.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>

using support::readBytes;
using support::utf16File;
using support::writeBytes;

namespace {

TEST_F(SettingsFixture, RoundTripKeepsEveryByteOfACanonicalFile)
{
    const auto original = utf16File({u"DisplayExcel=1", u"a=b=c", u" spaced key = spaced value ", u"=empty key",
                                     u"empty value=", u"#not a comment=x", u"Ünïcødé=日本語"});
    writeBytes(file, original);
    {
        app::clsSetting s(path(), box);
        QString v;
        EXPECT_EQ(s.GetSetting("a", v), 1);
        EXPECT_EQ(v, "b=c");
        EXPECT_EQ(s.GetSetting(" spaced key ", v), 1);
        EXPECT_EQ(v, " spaced value ");
        EXPECT_EQ(s.GetSetting("spaced key", v), 2);
        EXPECT_EQ(s.GetSetting("", v), 1);
        EXPECT_EQ(v, "empty key");
        EXPECT_EQ(s.GetSetting("#not a comment", v), 1);
        EXPECT_EQ(s.GetSetting(QString::fromUtf8("Ünïcødé"), v), 1);
        EXPECT_EQ(v, QString::fromUtf8("日本語"));
        EXPECT_EQ(s.GetSetting("displayexcel", v), 2) << "keys compare by their exact characters";
    }
    EXPECT_EQ(readBytes(file), original);
    EXPECT_TRUE(box.shown.empty());
}

TEST_F(SettingsFixture, EmptyLinesGoAndARepeatedKeyKeepsItsFirstPlaceAndLastValue)
{
    writeBytes(file, utf16File({u"x=1", u"", u"y=2", u"", u"x=3"}));
    { app::clsSetting s(path(), box); }
    EXPECT_EQ(readBytes(file), utf16File({u"x=3", u"y=2"}));
}

TEST_F(SettingsFixture, GetAndSetAnswerTheirCodesAndNeverAddKeys)
{
    writeBytes(file, utf16File({u"k=v"}));
    {
        app::clsSetting s(path(), box);
        QString v = "kept";
        EXPECT_EQ(s.GetSetting("absent", v), 2);
        EXPECT_EQ(v, "kept") << "an absent key leaves the caller's text alone";
        EXPECT_EQ(s.SetSetting("absent", "x"), 2);
        EXPECT_EQ(s.SetSetting("k", "w"), 1);
        EXPECT_EQ(s.GetSetting("k", v), 1);
        EXPECT_EQ(v, "w");
    }
    EXPECT_EQ(readBytes(file), utf16File({u"k=w"}));
}

TEST_F(SettingsFixture, ALineWithoutEqualsStopsTheReadButItsLinesSurviveTheWrite)
{
    writeBytes(file, utf16File({u"a=1", u"broken line", u"b=2", u"", u"c=3"}));
    {
        app::clsSetting s(path(), box);
        ASSERT_EQ(box.texts(), QStringList{"Can't Read Setting from config file"});
        QString v;
        EXPECT_EQ(s.GetSetting("a", v), 1);
        EXPECT_EQ(s.GetSetting("b", v), 2) << "lines behind the bad one are not read";
        EXPECT_EQ(s.SetSetting("a", "9"), 1);
    }
    EXPECT_EQ(readBytes(file), utf16File({u"a=9", u"broken line", u"b=2", u"", u"c=3"}));
    EXPECT_EQ(box.shown.size(), 1u);
}

TEST_F(SettingsFixture, AMissingFileFailsTheCreationWithItsPath)
{
    try {
        app::clsSetting s(path(), box);
        FAIL() << "a missing settings file must fail";
    } catch (const tb::Error& e) {
        EXPECT_EQ(e.number(), tb::err::FileNotFound);
        EXPECT_NE(e.description().find(file.string()), std::string::npos);
    }
    EXPECT_TRUE(box.shown.empty()) << "the read message is not shown for a missing file";
    EXPECT_FALSE(std::filesystem::exists(file)) << "the store never creates the file";
}

TEST_F(SettingsFixture, AFailedWriteIsReportedAndLosesNothingOnDisk)
{
    writeBytes(file, utf16File({u"k=v"}));
    {
        app::clsSetting s(path(), box);
        std::filesystem::remove(file);
    }
    EXPECT_EQ(box.texts(), QStringList{"Can't Write Setting to config file"});
    EXPECT_FALSE(std::filesystem::exists(file)) << "a vanished file is not created again";

    box.shown.clear();
    writeBytes(file, utf16File({u"k=v"}));
    {
        app::clsSetting s(path(), box);
        s.SetSetting("k", "changed");
        // The file is swapped for a folder: the write cannot replace it.
        std::filesystem::remove(file);
        std::filesystem::create_directory(file);
    }
    EXPECT_EQ(box.texts(), QStringList{"Can't Write Setting to config file"});
    EXPECT_TRUE(std::filesystem::is_directory(file));
    for (const auto& e : std::filesystem::directory_iterator(dir.path()))
        EXPECT_EQ(e.path().filename().string().find(".tmp-"), std::string::npos) << "no temporary file is left";
}

TEST_F(SettingsFixture, AnEmptyFileGivesAnEmptyTableAndIsWrittenBackWithNoLines)
{
    writeBytes(file, {});
    {
        app::clsSetting s(path(), box);
        QString v;
        EXPECT_EQ(s.GetSetting("", v), 2);
    }
    EXPECT_EQ(readBytes(file), utf16File({}));
    EXPECT_TRUE(box.shown.empty());
}

TEST_F(SettingsFixture, TheShippedFileHoldsEveryKeyInTheFormTheStoreWrites)
{
    std::filesystem::copy_file(std::filesystem::path(TB_SOURCE_DIR) / "Config" / "Config.cfg", file);
    const auto shipped = readBytes(file);
    {
        app::clsSetting s(path(), box);
        QString v;
        for (const char* key : {"DisplayExcel", "DisplayExcelAlerts", "frmMainCaption", "HomePage", "SupportEmail",
                                "ErrCantSetfrmMainCaption", "ErrCantInitImageList", "ErrCantInitToolbar",
                                "ErrCantInitListView", "ErrCantOpenWorkbook"}) {
            v.clear();
            EXPECT_EQ(s.GetSetting(key, v), 1) << key;
            EXPECT_FALSE(v.isEmpty()) << key;
        }
        s.GetSetting("DisplayExcel", v);
        EXPECT_EQ(v, "0");
        s.GetSetting("DisplayExcelAlerts", v);
        EXPECT_EQ(v, "0");
        s.GetSetting("SupportEmail", v);
        EXPECT_TRUE(v.startsWith("mailto:"));
        s.GetSetting("HomePage", v);
        EXPECT_TRUE(v.startsWith("https://"));
    }
    EXPECT_TRUE(box.shown.empty());
    EXPECT_EQ(readBytes(file), shipped) << "UTF-16LE with its mark, CR LF, no empty line: as the store writes it";
}

TEST(TextStream, LineEndsAndByteOrderMarks)
{
    auto lines = [](std::vector<unsigned char> raw) {
        std::vector<std::byte> b;
        for (auto c : raw)
            b.push_back(std::byte{c});
        return scripting::parseUtf16Lines(b);
    };
    // CR LF, lone LF, lone CR, last line without an end, no byte-order mark, odd last byte.
    EXPECT_EQ(lines({'a', 0, '\r', 0, '\n', 0, 'b', 0, '\n', 0, 'c', 0, '\r', 0, 'd', 0, 'x'}),
              (std::vector<std::u16string>{u"a", u"b", u"c", u"d"}));
    EXPECT_EQ(lines({0xFF, 0xFE, '\r', 0, '\n', 0, '\r', 0, '\n', 0}), (std::vector<std::u16string>{u"", u""}));
    EXPECT_EQ(lines({0xFF, 0xFE}), std::vector<std::u16string>{});
    EXPECT_EQ(lines({0x3D, 0xD8, 0x00, 0xDE}), std::vector<std::u16string>{u"\U0001F600"})
        << "surrogate pairs pass through";
}

}  // namespace
