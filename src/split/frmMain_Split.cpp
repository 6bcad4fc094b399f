// The run: every row of the list becomes a one-sheet workbook file in a
// folder named after its source workbook.

#include "split/FolderOps.h"
#include "split/OutputNaming.h"
#include "ui/frmMain.h"

#include "app/CommonDefine.h"
#include "app/Globals.h"
#include "excel/Workbook.h"
#include "platform/Platform.h"

#include <QCoreApplication>
#include <QProgressBar>
#include <QTableWidget>

namespace ui {

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
        const qint64 max = 2 * static_cast<qint64>(lvwTask_->rowCount());
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
        if (Index < 1 || Index > lvwTask_->rowCount())
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

        if (lvwTask_->rowCount() < 1) {
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
        const int count = lvwTask_->rowCount();
        if (count > kMaxRows)
            throw tb::Error(tb::err::Overflow, "Overflow: the list holds " + std::to_string(count) +
                                                   " rows, more than the 32767 a run can take.");
        const auto lastRow = static_cast<qint16>(count);

        excel::Application& xl = *g_.gExcelApp;
        // The run holds no workbook from step to step: it asks the engine
        // for the active one each time.
        auto active = [&xl] {
            auto book = xl.ActiveWorkbook();
            if (!book)
                throw tb::Error(tb::err::ObjectNotSet, "Object variable not set: the engine has no active workbook.");
            return book;
        };
        for (qint32 index = 1; index <= lastRow; ++index) {
            const QString source = rowText(index, 1);
            if (xl.GetWorkbooks().Count() == 0)
                xl.GetWorkbooks().Open(source.toStdString());
            if (active()->FullName() != source.toStdString()) {
                active()->Close(false);
                xl.GetWorkbooks().Open(source.toStdString());
            }
            const QString shortName = GetWorkbookShortName(QString::fromStdString(active()->Name()));
            const QString folder = app::AddTrailingBackslash(app::AddTrailingBackslash(chosen) + shortName);
            if (!split::FolderExists(folder.toStdString()))
                split::CreateFolder(folder.toStdString());
            const QString sheetName = rowText(index, 2);
            active()->Worksheets().Item(sheetName.toStdString()).Copy();
            active()->SaveAs(split::sheetFileName(folder.toStdString(), sheetName.toStdString(), source.toStdString()), 1);
            active()->Close(false);
            SetCurrentListItem(index);
            prgSplit_->setValue(2 * index);
            // Keep painting and answering the desktop; what the user types or
            // clicks meanwhile waits until the run is over.
            QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
        }
        if (xl.GetWorkbooks().Count() != 0)
            xl.GetWorkbooks().Close();
        RestoreControlStateAfterSplit();
        running = false;
        SetCurrentListItem(1);
        g_.platform.messageBox().show(QStringLiteral("Mission complete!"), platform::mb::OkOnly);
        g_.platform.shell().openWithDefaultHandler(chosen);
        endRun();
    } catch (...) {
        app::showCommonErrorReport(g_.platform.messageBox(), app::toError(std::current_exception()),
                                   QStringLiteral("mnuSplit_Click"));
        if (running) {
            // A failed run puts the window back; the files of earlier rows
            // stay, and what is open in the engine stays until the next run
            // or shutdown.
            RestoreControlStateAfterSplit();
        }
        endRun();
    }
}

}  // namespace ui
