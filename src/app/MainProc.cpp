#include "MainProc.h"

#include "AppPaths.h"
#include "CommonDefine.h"
#include "SettingsLocation.h"
#include "TextToBoolean.h"
#include "platform/Platform.h"

namespace app {

bool InitExcelApp(Globals& g, const MainHooks& hooks)
{
    try {
        g.gExcelApp = hooks.createEngine(g);
        if (!g.gExcelApp)
            throw tb::Error(429, "The workbook engine could not be created.");
        return true;
    } catch (...) {
        g.platform.messageBox().show(QStringLiteral("Please install Microsoft Excel and try again."),
                                     platform::mb::OkOnly);
        return false;
    }
}

void Main(Globals& g, const MainHooks& hooks)
{
    try {
        g.helpFile = appFile(g.appDir, QStringLiteral("\\help\\help.chm"));
        const QString shipped = appFile(g.appDir, QStringLiteral("\\Config\\Config.cfg"));
        g.gSetting = std::make_unique<clsSetting>(chooseSettingsFile(shipped, UserFolders::fromEnvironment()),
                                                  g.platform.messageBox());
        if (!InitExcelApp(g, hooks))
            return;

        QString value;  // both reads share it: an absent second key keeps the first key's value
        g.gSetting->GetSetting(QStringLiteral("DisplayExcel"), value);
        g.gExcelApp->setVisible(textToBoolean(value));
        g.gSetting->GetSetting(QStringLiteral("DisplayExcelAlerts"), value);
        g.gExcelApp->setDisplayAlerts(textToBoolean(value));
        g.gExcelApp->setScreenUpdating(true);
        g.gExcelApp->setAskToUpdateLinks(false);

        g.gMainForm = hooks.createMainForm(g);
        g.gMainForm->Show();
        g.gMainForm->Unload();
        g.gMainForm.reset();

        g.gSetting.reset();  // writes the settings file before the engine is told anything
        g.gExcelApp->GetWorkbooks().Close();
        g.gExcelApp->Quit();
        g.gExcelApp.reset();
    } catch (...) {
        g.platform.messageBox().show(mainErrorText(toError(std::current_exception())), platform::mb::OkOnly);
    }
}

}  // namespace app
