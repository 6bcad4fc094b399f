#include "app/MainProc.h"
#include "platform/sys/Error.h"
#include "support/ScriptedPlatform.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

namespace {

using support::utf16File;

// Records what Main does with the engine, and what the settings file held
// when the engine was shut down.
class RecordingObserver final : public excel::ApplicationObserver {
public:
    void visibleChanged(bool v) override { log.push_back(v ? "visible" : "hidden"); }
    void workbooksChanged(const std::vector<std::string>&, int) override {}
    void operationDone(const std::string& d) override
    {
        log.push_back(d);
        if (d == "Shut down" && onShutDown)
            onShutDown();
    }
    std::vector<std::string> log;
    std::function<void()> onShutDown;
};

class FakeForm final : public app::MainFormHandle {
public:
    FakeForm(std::function<void()> duringShow, std::function<void()> onRelease, bool unloadFails,
             std::vector<std::string>& log)
        : duringShow_(std::move(duringShow)), onRelease_(std::move(onRelease)), unloadFails_(unloadFails), log_(log)
    {
    }
    ~FakeForm() override
    {
        log_.push_back("form released");
        if (onRelease_)
            onRelease_();
    }
    void Show() override
    {
        log_.push_back("form shown");
        if (duringShow_)
            duringShow_();
    }
    void Unload() override
    {
        log_.push_back("form unloaded");
        if (unloadFails_)
            throw tb::Error(5, "Invalid procedure call or argument");
    }
    void mnuSupport_Click() override {}
    void mnuVisitHomePage_Click() override {}

private:
    std::function<void()> duringShow_;
    std::function<void()> onRelease_;
    bool unloadFails_;
    std::vector<std::string>& log_;
};

struct MainFixture : ::testing::Test {
    support::TempDir dir;
    support::ScriptedPlatform platform;
    RecordingObserver observer;
    std::vector<std::string> log;
    std::function<void(app::Globals&)> duringShow;
    std::function<void()> onFormRelease;
    bool unloadFails = false;
    bool engineFails = false;
    bool engineMade = false;
    bool visibleAtStart = false, alertsAtStart = true, screenUpdating = false, askToUpdateLinks = true;

    void writeConfig(const std::vector<std::u16string>& lines)
    {
        std::filesystem::create_directories(dir / "Config");
        support::writeBytes(dir / "Config" / "Config.cfg", utf16File(lines));
    }
    std::vector<char> config() const { return support::readBytes(dir / "Config" / "Config.cfg"); }

    void runMain()
    {
        app::Globals g(platform, QString::fromStdString(dir.path().string()));
        app::MainHooks hooks;
        hooks.createEngine = [this](app::Globals&) -> std::unique_ptr<excel::Application> {
            if (engineFails)
                throw tb::Error(429, "cannot create");
            engineMade = true;
            auto engine = std::make_unique<excel::Application>();
            engine->setObserver(&observer);
            return engine;
        };
        hooks.createMainForm = [this](app::Globals& gl) -> std::unique_ptr<app::MainFormHandle> {
            visibleAtStart = gl.gExcelApp->Visible();
            alertsAtStart = gl.gExcelApp->DisplayAlerts();
            screenUpdating = gl.gExcelApp->ScreenUpdating();
            askToUpdateLinks = gl.gExcelApp->AskToUpdateLinks();
            return std::make_unique<FakeForm>([this, &gl] { if (duringShow) duringShow(gl); }, onFormRelease,
                                              unloadFails, log);
        };
        app::Main(g, hooks);
        helpFile = g.helpFile;
        // What Main itself left standing, before the process's own end.
        formLeft = g.gMainForm != nullptr;
        settingsLeft = g.gSetting != nullptr;
        engineLeft = g.gExcelApp != nullptr;
        logAtReturn = log;
    }
    std::vector<std::string> logAtReturn;
    QString helpFile;
    bool formLeft = false, settingsLeft = false, engineLeft = false;
};

TEST_F(MainFixture, ANormalRunConfiguresTheEngineAndTearsDownInOrder)
{
    writeConfig({u"DisplayExcel=1", u"DisplayExcelAlerts=0", u"frmMainCaption=Tamberlin"});
    const auto original = config();
    duringShow = [](app::Globals& g) { g.gSetting->SetSetting("frmMainCaption", "Changed"); };
    std::vector<char> atFormRelease, atShutDown;
    onFormRelease = [&] { atFormRelease = config(); };
    observer.onShutDown = [&] { atShutDown = config(); };
    runMain();

    EXPECT_TRUE(platform.messages.shown.empty()) << platform.messages.texts().join("|").toStdString();
    EXPECT_TRUE(visibleAtStart);
    EXPECT_FALSE(alertsAtStart);
    EXPECT_TRUE(screenUpdating);
    EXPECT_FALSE(askToUpdateLinks);
    EXPECT_EQ(log, (std::vector<std::string>{"form shown", "form unloaded", "form released"}));
    EXPECT_EQ(observer.log.back(), "Shut down");
    const auto expected = utf16File({u"DisplayExcel=1", u"DisplayExcelAlerts=0", u"frmMainCaption=Changed"});
    EXPECT_EQ(atFormRelease, original) << "the window goes before the settings are written";
    EXPECT_EQ(atShutDown, expected) << "the settings are written before the engine is shut down";
    EXPECT_EQ(config(), expected);
    EXPECT_FALSE(formLeft || settingsLeft || engineLeft) << "Main releases all three";
    EXPECT_EQ(helpFile, QString::fromStdString((dir / "help" / "help.chm").string()));
}

TEST_F(MainFixture, AMissingSettingsFileEndsWithMainsReportAndNoEngine)
{
    runMain();
    ASSERT_EQ(platform.messages.shown.size(), 1u);
    const std::string path = (dir / "Config" / "Config.cfg").string();
    EXPECT_EQ(platform.messages.shown[0].text.toStdString(),
              "Err Number: 53\r\nErr Description: Cannot open the file '" + path + "': it does not exist.");
    EXPECT_EQ(platform.messages.shown[0].style, 0);
    EXPECT_FALSE(engineMade);
    EXPECT_TRUE(log.empty());
}

TEST_F(MainFixture, ALineWithoutEqualsIsReportedAndStartUpGoesOnWithTheKeysBefore)
{
    writeConfig({u"DisplayExcel=0", u"oops", u"DisplayExcelAlerts=1"});
    runMain();
    EXPECT_EQ(platform.messages.texts(), QStringList{"Can't Read Setting from config file"});
    EXPECT_FALSE(visibleAtStart);
    EXPECT_FALSE(alertsAtStart) << "DisplayExcelAlerts was not read, so it takes DisplayExcel's value";
    EXPECT_EQ(log.front(), "form shown");
    EXPECT_EQ(config(), utf16File({u"DisplayExcel=0", u"oops", u"DisplayExcelAlerts=1"}));
}

TEST_F(MainFixture, DisplayExcelAbsentIsATypeMismatchAndNoWindowOpens)
{
    writeConfig({u"DisplayExcelAlerts=1"});
    runMain();
    EXPECT_EQ(platform.messages.texts(), QStringList{"Err Number: 13\r\nErr Description: Type mismatch"});
    EXPECT_TRUE(log.empty());
    EXPECT_FALSE(visibleAtStart);
}

TEST_F(MainFixture, TheWordTrueIsAcceptedAndAnAbsentAlertsKeyFollowsDisplayExcel)
{
    writeConfig({u"DisplayExcel=True"});
    runMain();
    EXPECT_TRUE(platform.messages.shown.empty());
    EXPECT_TRUE(visibleAtStart);
    EXPECT_TRUE(alertsAtStart);
}

TEST_F(MainFixture, AnUnconvertibleAlertsTextStopsStartUp)
{
    writeConfig({u"DisplayExcel=0", u"DisplayExcelAlerts=maybe"});
    runMain();
    EXPECT_EQ(platform.messages.texts(), QStringList{"Err Number: 13\r\nErr Description: Type mismatch"});
    EXPECT_TRUE(log.empty());
    EXPECT_TRUE(engineMade);
    EXPECT_TRUE(engineLeft && settingsLeft) << "Main's report releases nothing";
}

TEST_F(MainFixture, AFailureInTheTeardownSkipsTheRestOfIt)
{
    writeConfig({u"DisplayExcel=0", u"DisplayExcelAlerts=0", u"frmMainCaption=Tamberlin"});
    unloadFails = true;
    runMain();
    EXPECT_EQ(platform.messages.texts(),
              QStringList{"Err Number: 5\r\nErr Description: Invalid procedure call or argument"});
    EXPECT_EQ(logAtReturn, (std::vector<std::string>{"form shown", "form unloaded"}));
    EXPECT_TRUE(formLeft && settingsLeft && engineLeft);
    EXPECT_TRUE(std::find(observer.log.begin(), observer.log.end(), "Shut down") == observer.log.end())
        << "the engine is not shut down after the report";
}

TEST_F(MainFixture, AnEngineThatCannotBeMadeGivesExactlyOneMessage)
{
    writeConfig({u"DisplayExcel=0", u"DisplayExcelAlerts=0"});
    engineFails = true;
    runMain();
    EXPECT_EQ(platform.messages.texts(), QStringList{"Please install Microsoft Excel and try again."});
    EXPECT_EQ(platform.messages.shown[0].style, 0);
    EXPECT_TRUE(log.empty());
}

}  // namespace
