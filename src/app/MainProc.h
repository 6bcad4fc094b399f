#pragma once
// The life of the process: settings first, then the workbook engine, then the
// main window; on the way out the window goes first, the settings are written
// next, and the engine is taken down last.

#include "Globals.h"

#include <functional>
#include <memory>

namespace app {

struct MainHooks {
    // Makes the workbook engine, wired to whatever shows it. Throws when it
    // cannot be made.
    std::function<std::unique_ptr<excel::Application>(Globals&)> createEngine;
    // Makes the main window.
    std::function<std::unique_ptr<MainFormHandle>(Globals&)> createMainForm;
};

// Returns when the program is to end.
void Main(Globals& g, const MainHooks& hooks);

// True when gExcelApp now holds a new engine; false when it could not be made
// and the user has been told.
bool InitExcelApp(Globals& g, const MainHooks& hooks);

}  // namespace app
