// Bringing workbooks into the list: one file through the file dialog, or
// every workbook of a folder.

#include "ui/frmMain.h"

#include "app/CommonDefine.h"
#include "app/Globals.h"
#include "platform/Platform.h"

namespace ui {

namespace {
QString trimBlanks(const QString& s)
{
    qsizetype begin = 0, end = s.size();
    while (begin < end && s[begin] == QLatin1Char(' '))
        ++begin;
    while (end > begin && s[end - 1] == QLatin1Char(' '))
        --end;
    return s.mid(begin, end - begin);
}
}  // namespace

void frmMain::mnuAddFile_Click()
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("mnuAddFile_Click"), [&] {
        platform::OpenFileRequest request;
        request.title = QStringLiteral("please select excel file");
        request.filterLabel = QStringLiteral("Microsoft office Excel files (*.xls;*.xlsx)");
        request.filterPatterns = {QStringLiteral("*.xls"), QStringLiteral("*.xlsx")};
        const QString chosen = g_.platform.fileDialog().getOpenFileName(request);
        if (chosen.isEmpty())
            return;
        UpdateListView(trimBlanks(chosen));
    });
}

void frmMain::mnuAddFolder_Click()
{
    QString folder;
    try {
        folder = app::BrowseForFolderPath(g_.platform.folderBrowser(), QStringLiteral("Add all Excel files in the folder"));
        if (folder.isEmpty())
            return;
        AddFolderToList(app::AddTrailingBackslash(folder));
    } catch (...) {
        g_.platform.messageBox().show(app::folderErrorText(app::toError(std::current_exception()), folder),
                                      platform::mb::OkOnly);
    }
}

}  // namespace ui
