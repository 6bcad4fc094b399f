#pragma once
// Makes the real main window and the real engine for Main.

#include "app/MainProc.h"

namespace ui {

std::unique_ptr<app::MainFormHandle> createMainForm(app::Globals& g);
std::unique_ptr<excel::Application> createEngine(app::Globals& g);
app::MainHooks desktopHooks();

}  // namespace ui
