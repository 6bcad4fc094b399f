// The two small dialogs beside the main window, each shown modally and
// released when it closes.

#include "frmMain.h"

#include "app/CommonDefine.h"
#include "app/Globals.h"
#include "frmAbout.h"
#include "frmOptions.h"
#include "platform/Platform.h"

namespace ui {

void frmMain::mnuSettings_Click()
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("mnuSettings_Click"), [&] {
        frmOptions dialog(g_);
        dialog.Form_Load();
        dialog.exec();
    });
}

void frmMain::mnuAbout_Click()
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("lmnuAbout_Click"), [&] {
        frmAbout dialog(g_);
        dialog.Form_Load();
        dialog.exec();
    });
}

}  // namespace ui
