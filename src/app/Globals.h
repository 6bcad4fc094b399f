#pragma once
// The three objects the whole program shares, made and released by Main
// alone, in a fixed order: gSetting first, gExcelApp next, gMainForm last;
// gMainForm goes first, gSetting next, gExcelApp last.

#include "clsSetting.h"
#include "excel/Application.h"

#include <QString>

#include <memory>

namespace platform {
struct Platform;
}

namespace app {

// The main window as Main sees it: made, shown modally, unloaded, released.
class MainFormHandle {
public:
    virtual ~MainFormHandle() = default;
    // Shows the window and returns when it has closed.
    virtual void Show() = 0;
    // Unloads what is left of a window that has closed already; asks nothing.
    virtual void Unload() = 0;
    // The two link commands, which the about dialog reaches through here.
    virtual void mnuSupport_Click() = 0;
    virtual void mnuVisitHomePage_Click() = 0;
};

struct Globals {
    platform::Platform& platform;
    QString appDir;
    QString helpFile;  // the application's help file, set by Main
    std::unique_ptr<clsSetting> gSetting;
    std::unique_ptr<excel::Application> gExcelApp;
    std::unique_ptr<MainFormHandle> gMainForm;

    Globals(platform::Platform& p, QString dir) : platform(p), appDir(std::move(dir)) {}
    ~Globals()
    {
        // The order of a normal shutdown, whatever way out was taken.
        gMainForm.reset();
        gSetting.reset();
        gExcelApp.reset();
    }
};

}  // namespace app
