#include "CommonDefine.h"

#include "platform/Platform.h"
#include "platform/sys/PathRules.h"


namespace app {

namespace {
const QString kCrLf = QStringLiteral("\r\n");
QString fromUtf8(const std::string& s) { return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size())); }
}  // namespace

QString BrowseForFolderPath(platform::FolderBrowser& browser, const QString& title)
{
    return browser.browseForFolder(title, QStringLiteral("/"));
}

QString AddTrailingBackslash(const QString& path)
{
    return QString::fromStdString(tb::fs::withTrailingSeparator(path.toStdString()));
}

tb::Error toError(std::exception_ptr failure) { return tb::errorOf(failure); }

QString commonErrorText(const tb::Error& e, const QString& proc)
{
    return QStringLiteral("Err Number: ") + QString::number(e.number()) + kCrLf + QStringLiteral("Err Description: ") +
           fromUtf8(e.description()) + kCrLf + QStringLiteral("Err Proc: ") + proc;
}

QString mainErrorText(const tb::Error& e)
{
    return QStringLiteral("Err Number: ") + QString::number(e.number()) + kCrLf + QStringLiteral("Err Description: ") +
           fromUtf8(e.description());
}

QString folderErrorText(const tb::Error& e, const QString& folder)
{
    return QStringLiteral("Error Number: ") + QString::number(e.number()) + kCrLf +
           QStringLiteral(" Error Description: ") + fromUtf8(e.description()) + kCrLf +
           QStringLiteral("Error Folder Name: ") + folder;
}

QString fileErrorText(const tb::Error& e, const QString& file)
{
    return QStringLiteral("Error Number: ") + QString::number(e.number()) + kCrLf +
           QStringLiteral(" Error Description: ") + fromUtf8(e.description()) + kCrLf +
           QStringLiteral("Error File Name: ") + file;
}

void showCommonErrorReport(platform::MessageBox& box, const tb::Error& e, const QString& proc)
{
    box.show(commonErrorText(e, proc), platform::mb::OkOnly);
}

}  // namespace app
