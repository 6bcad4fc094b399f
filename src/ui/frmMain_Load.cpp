// The chain that builds the window as it loads. The first link that fails
// ends it, and the window opens as far as it was built.

#include "frmMain.h"

#include "app/AppPaths.h"
#include "app/CommonDefine.h"
#include "app/Globals.h"
#include "platform/Platform.h"

#include <QIcon>
#include <QPixmap>
#include <QProgressBar>

namespace ui {

void frmMain::Form_Load()
{
    if (loaded_)
        return;
    loaded_ = true;
    app::guarded(g_.platform.messageBox(), QStringLiteral("Form_Load"), [&] {
        auto fail = [this](const char* key) {
            QString text;
            g_.gSetting->GetSetting(QString::fromLatin1(key), text);
            g_.platform.messageBox().show(text, platform::mb::OkOnly);
        };
        const QString iconPath = app::appFile(g_.appDir, QStringLiteral("\\Icon\\frmMain.ico"));
        LoadPicture(iconPath);
        setWindowIcon(QIcon(iconPath));  // every size the file holds
        if (SetCaption() != 1)
            return fail("ErrCantSetfrmMainCaption");
        if (InitImageList() != 1)
            return fail("ErrCantInitImageList");
        if (InitToolbar() != 1)
            return fail("ErrCantInitToolbar");
        if (InitListView() != 1)
            return fail("ErrCantInitListView");
        prgSplit_->setVisible(false);
    });
}

}  // namespace ui
