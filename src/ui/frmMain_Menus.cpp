// The menu bar, the list's popup menu, and the commands that belong to no
// other part of the window: the help and the two links.

#include "frmMain.h"

#include "app/CommonDefine.h"
#include "app/Globals.h"
#include "platform/Platform.h"

#include <QMenu>
#include <QMenuBar>

namespace ui {

namespace {
struct Entry {
    const char* name;
    const char* caption;  // "-" is a separator
    void (frmMain::*handler)();
};
struct TopMenu {
    const char* name;
    const char* caption;
    std::vector<Entry> entries;
};
}  // namespace

void frmMain::buildMenus()
{
    const std::vector<TopMenu> bar{
        {"mnuFile", "&File",
         {{"mnuAddFile", "Add File", &frmMain::mnuAddFile_Click},
          {"mnuAddFolder", "Add Folder", &frmMain::mnuAddFolder_Click},
          {"mnuSep1", "-", nullptr},
          {"mnuExit", "Exit", &frmMain::mnuExit_Click}}},
        {"mnuEdit", "&Edit",
         {{"mnuRemoveItem", "Remove Item", &frmMain::mnuRemoveItem_Click},
          {"mnuClearList", "Clear List", &frmMain::mnuClearList_Click}}},
        {"mnuActions", "&Actions", {{"mnuSplit", "Split", &frmMain::mnuSplit_Click}}},
        {"mnuOptions", "&Options", {{"mnuSettings", "Settings", &frmMain::mnuSettings_Click}}},
        {"mnuHelp", "&Help",
         {{"mnuApplicationHelp", "Application Help", &frmMain::mnuApplicationHelp_Click},
          {"mnuVisitHomePage", "Visit HomePage", &frmMain::mnuVisitHomePage_Click},
          {"mnuSupport", "Support", &frmMain::mnuSupport_Click},
          {"mnuAbout", "About", &frmMain::mnuAbout_Click}}},
        // Never on the bar: the list's popup menu.
        {"mnuPopup", "",
         {{"mnuPopupSplit", "Split", &frmMain::mnuPopupSplit_Click},
          {"mnuPopupSep1", "-", nullptr},
          {"mnuPopupAddFile", "Add File", &frmMain::mnuPopupAddFile_Click},
          {"mnuPopupAddFolder", "Add Folder", &frmMain::mnuPopupAddFolder_Click},
          {"mnuPopupRemoveItem", "Remove Item", &frmMain::mnuPopupRemoveItem_Click},
          {"mnuPopupClearList", "Clear List", &frmMain::mnuPopupClearList_Click}}},
    };
    for (const auto& top : bar) {
        const QString name = QString::fromLatin1(top.name);
        auto* menu = new QMenu(QString::fromLatin1(top.caption), this);
        menu->setObjectName(name);
        menu->menuAction()->setObjectName(name);
        if (name != QLatin1String("mnuPopup"))
            menuBar_->addMenu(menu);
        for (const auto& e : top.entries) {
            QAction* action = nullptr;
            if (QLatin1String(e.caption) == QLatin1String("-")) {
                action = menu->addSeparator();
            } else {
                action = menu->addAction(QString::fromLatin1(e.caption));
                connect(action, &QAction::triggered, this, e.handler);
            }
            action->setObjectName(QString::fromLatin1(e.name));
        }
    }
}

QMenu* frmMain::menu(const QString& name) const { return findChild<QMenu*>(name, Qt::FindDirectChildrenOnly); }

QAction* frmMain::menuEntry(const QString& name) const
{
    for (QMenu* m : findChildren<QMenu*>(QString(), Qt::FindDirectChildrenOnly)) {
        for (QAction* a : m->actions()) {
            if (a->objectName() == name)
                return a;
        }
    }
    return nullptr;
}

void frmMain::mnuApplicationHelp_Click()
{
    // The help opens where F1 opens it: the key comes back through the
    // window's own key path.
    app::guarded(g_.platform.messageBox(), QStringLiteral("mnuApplicationHelp_Click"),
                 [&] { g_.platform.keySender().sendKey(Qt::Key_F1); });
}

void frmMain::openSettingLink(const QString& key)
{
    QString target;
    g_.gSetting->GetSetting(key, target);
    g_.platform.shell().openWithDefaultHandler(target);
}

void frmMain::mnuSupport_Click()
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("mnuSupport_Click"),
                 [&] { openSettingLink(QStringLiteral("SupportEmail")); });
}

void frmMain::mnuVisitHomePage_Click()
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("mnuVisitHomePage_Click"),
                 [&] { openSettingLink(QStringLiteral("HomePage")); });
}

}  // namespace ui
