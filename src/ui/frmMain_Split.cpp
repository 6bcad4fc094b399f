// The split run as the window carries it: the caption, the two guards, the
// progress bar and the row marking, the reports, "Mission complete!" and the
// chosen folder shown in the file manager.

#include "split/FolderOps.h"
#include "split/OutputNaming.h"
#include "split/SplitRun.h"
#include "ui/frmMain.h"

#include "app/CommonDefine.h"
#include "app/Globals.h"
#include "platform/Platform.h"

#include <QCoreApplication>
#include <QProgressBar>
#include <QTableWidget>

namespace ui {

// Marks each finished row and moves the bar on; the short name's failure is
// the report of the procedure that makes it.
class frmMain::WindowRun final : public split::RunReport {
public:
    explicit WindowRun(frmMain& form) : form_(form) {}
    void rowDone(int index, const tasklist::TaskRow&, const std::string&) override
    {
        form_.SetCurrentListItem(index);
        form_.prgSplit_->setValue(2 * index);
        // Keep painting and answering the desktop; what the user types or
        // clicks meanwhile waits until the run is over.
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    }
    void shortNameFailed(const tasklist::TaskRow&, const tb::Error& error) override
    {
        app::showCommonErrorReport(form_.g_.platform.messageBox(), error, QStringLiteral("GetWorkbookShortName"));
    }
    void failed(const std::string&, const tb::Error& error) override
    {
        app::showCommonErrorReport(form_.g_.platform.messageBox(), error, QStringLiteral("mnuSplit_Click"));
    }

private:
    frmMain& form_;
};

void frmMain::endRun()
{
    splitRunning_ = false;
    if (closePending_) {
        closePending_ = false;
        QMetaObject::invokeMethod(this, &QWidget::close, Qt::QueuedConnection);
    }
}

namespace {
constexpr int kMaxRows = 32767;  // the row count is held as a signed 16-bit number
}

QString frmMain::GetWorkbookShortName(const QString& WorkbookName)
{
    QString result;
    app::guarded(g_.platform.messageBox(), QStringLiteral("GetWorkbookShortName"), [&] {
        // Exactly four characters come off, whatever the name ends in:
        // "Book1.xlsx" gives "Book1.", whose period the file rules drop.
        result = QString::fromStdString(split::GetWorkbookShortName(WorkbookName.toStdString()));
    });
    return result;
}

void frmMain::InitControlStateBeforeSplit()
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("InitControlStateBeforeSplit"), [&] {
        prgSplit_->setVisible(true);
        setMousePointer(11);
        prgSplit_->setMinimum(1);
        const qint64 max = 2 * static_cast<qint64>(tasks_.count());
        prgSplit_->setMaximum(static_cast<int>(max));
        prgSplit_->setValue(prgSplit_->minimum());
        g_.gExcelApp->setEnableEvents(false);
    });
}

void frmMain::RestoreControlStateAfterSplit()
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("RestoreControlStateAfterSplit"), [&] {
        prgSplit_->setVisible(false);
        prgSplit_->setValue(prgSplit_->minimum());
        setMousePointer(0);
        g_.gExcelApp->setEnableEvents(true);
    });
}

void frmMain::SetCurrentListItem(int Index)
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("SetCurrentListItem"), [&] {
        if (Index < 1 || Index > tasks_.count())
            throw tb::Error(35600, "Index out of bounds: the list has no row " + std::to_string(Index) + ".");
        lvwTask_->setCurrentCell(Index - 1, 0);
        lvwTask_->selectRow(Index - 1);
        lvwTask_->scrollToItem(lvwTask_->item(Index - 1, 0));
    });
}

void frmMain::mnuSplit_Click()
{
    bool running = false;
    try {
        QString caption;
        g_.gSetting->GetSetting(QStringLiteral("frmMainCaption"), caption);
        setWindowTitle(caption + GetVersionString());

        if (tasks_.count() < 1) {
            g_.platform.messageBox().show(QStringLiteral("Please select some Excel workbook at first"),
                                          platform::mb::OkOnly);
            return;
        }
        const QString chosen = app::BrowseForFolderPath(g_.platform.folderBrowser(), QStringLiteral("Please select output folder"));
        if (!split::FolderExists(chosen.toStdString())) {
            g_.platform.messageBox().show(QStringLiteral("Please select a output folder and try again"),
                                          platform::mb::OkOnly);
            return;
        }

        running = true;
        splitRunning_ = true;
        InitControlStateBeforeSplit();
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);  // the bar and the pointer show at once
        if (tasks_.count() > kMaxRows)
            throw tb::Error(tb::err::Overflow, "Overflow: the list holds " + std::to_string(tasks_.count()) +
                                                   " rows, more than the 32767 a run can take.");
        WindowRun report(*this);
        if (split::run(*g_.gExcelApp, tasks_, {chosen.toStdString()}, report).failure) {
            // A failed run puts the window back; the files of earlier rows
            // stay, and what is open in the engine stays until the next run
            // or shutdown.
            RestoreControlStateAfterSplit();
            endRun();
            return;
        }
        RestoreControlStateAfterSplit();
        running = false;
        SetCurrentListItem(1);
        g_.platform.messageBox().show(QStringLiteral("Mission complete!"), platform::mb::OkOnly);
        g_.platform.shell().openWithDefaultHandler(chosen);
        endRun();
    } catch (...) {
        app::showCommonErrorReport(g_.platform.messageBox(), app::toError(std::current_exception()),
                                   QStringLiteral("mnuSplit_Click"));
        if (running)
            RestoreControlStateAfterSplit();
        endRun();
    }
}

}  // namespace ui
