// The image list and the toolbar, and the dispatcher that calls a button's
// command by the name its key holds.

#include "frmMain.h"

#include "app/AppPaths.h"
#include "app/CommonDefine.h"
#include "app/Globals.h"
#include "platform/Platform.h"

#include <QCursor>
#include <QMenu>
#include <QMetaObject>
#include <QToolBar>

namespace ui {

namespace {
struct ImageRow {
    const char* key;
    const char* file;
};
constexpr ImageRow kImages[] = {
    {"Add", "\\ICON\\Add.ICO"},     {"Remove", "\\ICON\\Remove.ico"},     {"Split", "\\ICON\\Split.ico"},
    {"Option", "\\ICON\\Option.ico"}, {"Help", "\\ICON\\Help.ico"}, {"HomePage", "\\ICON\\HomePage.Ico"},
    {"Exit", "\\ICON\\Exit.ico"},
};

struct ButtonRow {
    const char* key;
    const char* caption;
    int image;  // 0: a separator
};
constexpr ButtonRow kButtons[] = {
    {"mnuFile", "Add file", 1},
    {"mnuEdit", "Remove ", 2},
    {"", "", 0},
    {"mnuSplit_Click", "Split", 3},
    {"", "", 0},
    {"mnuSettings_Click", "Option", 4},
    {"mnuApplicationHelp_Click", "Help", 5},
    {"mnuVisitHomePage_Click", "Homepage", 6},
    {"", "", 0},
    {"mnuExit_Click", "Exit", 7},
    {"", "", 0},
};
}  // namespace

int frmMain::InitImageList()
{
    int result = 0;
    app::guarded(g_.platform.messageBox(), QStringLiteral("InitImageList"), [&] {
        ilsMain_.setImageSize(32, 32);
        int index = 1;
        for (const auto& row : kImages) {
            const QImage picture = LoadPicture(app::appFile(g_.appDir, QString::fromLatin1(row.file)));
            ilsMain_.Add(index++, QString::fromLatin1(row.key), picture);
        }
        result = 1;
    });
    return result;
}

int frmMain::InitToolbar()
{
    int result = 0;
    app::guarded(g_.platform.messageBox(), QStringLiteral("InitToolbar"), [&] {
        tlbMain_->setIconSize(QSize(ilsMain_.ImageWidth(), ilsMain_.ImageHeight()));
        tlbMain_->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
        for (const auto& row : kButtons) {
            QAction* button = nullptr;
            if (row.image == 0) {
                button = tlbMain_->addSeparator();
            } else {
                button = tlbMain_->addAction(ilsMain_.icon(row.image), QString::fromLatin1(row.caption));
                connect(button, &QAction::triggered, this, [this, button] { tlbMain_ButtonClick(button); });
            }
            button->setObjectName(QString::fromLatin1(row.key));
        }
        tlbMain_->resize(tlbMain_->width(), tlbMain_->sizeHint().height());
        result = 1;
    });
    return result;
}

void frmMain::tlbMain_ButtonClick(QAction* Button)
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("tlbMain_ButtonClick"), [&] {
        const QString key = Button->objectName();
        if (key == QLatin1String("mnuFile")) {
            QAction* exit = menuEntry(QStringLiteral("mnuExit"));
            QAction* sep = menuEntry(QStringLiteral("mnuSep1"));
            exit->setVisible(false);
            sep->setVisible(false);
            menu(QStringLiteral("mnuFile"))->exec(QCursor::pos());
            exit->setVisible(true);
            sep->setVisible(true);
        } else if (key == QLatin1String("mnuEdit")) {
            menu(QStringLiteral("mnuEdit"))->exec(QCursor::pos());
        } else if (!QMetaObject::invokeMethod(this, key.toLatin1().constData(), Qt::DirectConnection)) {
            throw tb::Error(438, "Object doesn't support this property or method: " + key.toStdString() + ".");
        }
    });
}

}  // namespace ui
