// Taking rows out of the list: the selected row, or all of them after a
// question; and the key and mouse input on the list that leads there.

#include "ui/frmMain.h"

#include "app/CommonDefine.h"
#include "app/Globals.h"
#include "platform/Platform.h"
#include "ui/KeyCodes.h"

#include <QCursor>
#include <QMenu>
#include <QTableWidget>

namespace ui {

void frmMain::mnuRemoveItem_Click()
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("mnuRemoveItem_Click"), [&] {
        if (tasks_.count() < 1)
            return;
        const int current = lvwTask_->currentRow();
        if (current < 0)
            throw tb::Error(tb::err::ObjectNotSet, "Object variable not set: no row of the list is selected.");
        tasks_.remove(current + 1);
        lvwTask_->removeRow(current);
        // The row that moved up into the removed one's place, or the new last row.
        const int next = std::min(current, lvwTask_->rowCount() - 1);
        if (next >= 0) {
            lvwTask_->setCurrentCell(next, 0);
            lvwTask_->selectRow(next);
        }
    });
}

void frmMain::mnuClearList_Click()
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("mnuClearList_Click"), [&] {
        if (tasks_.count() < 1)
            return;
        const int answer = g_.platform.messageBox().show(QStringLiteral("Do you really want to clear the list"),
                                                         platform::mb::YesNoQuestionDefaultNo);
        if (answer == platform::mb::AnswerYes) {
            tasks_.clear();
            lvwTask_->setRowCount(0);
        }
    });
}

void frmMain::lvwTask_KeyDown(int KeyCode, int /*Shift*/)
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("lvwTask_KeyDown"), [&] {
        if (KeyCode == vbKeyDelete)
            mnuRemoveItem_Click();
    });
}

void frmMain::lvwTask_MouseUp(int Button, int /*Shift*/, int /*X*/, int /*Y*/)
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("lvwTask_MouseUp"), [&] {
        if (Button == vbRightButton)
            menu(QStringLiteral("mnuPopup"))->exec(QCursor::pos());
    });
}

void frmMain::mnuPopupSplit_Click()
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("mnuPopupSplit_Click"), [&] { mnuSplit_Click(); });
}

void frmMain::mnuPopupAddFile_Click()
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("mnuPopupAddFile_Click"), [&] { mnuAddFile_Click(); });
}

void frmMain::mnuPopupAddFolder_Click()
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("mnuPopupAddFolder_Click"), [&] { mnuAddFolder_Click(); });
}

void frmMain::mnuPopupRemoveItem_Click()
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("mnuPopupRemoveItem_Click"),
                 [&] { mnuRemoveItem_Click(); });
}

void frmMain::mnuPopupClearList_Click()
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("mnuPopupClearList_Click"), [&] { mnuClearList_Click(); });
}

}  // namespace ui
