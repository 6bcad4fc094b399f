#pragma once
// What more than one part of the main window needs: the folder browser, the
// trailing-separator rule, and the error reports every guarded procedure
// shows when something inside it fails.

#include "platform/sys/Error.h"

#include <QString>

#include <exception>
#include <utility>

namespace platform {
class FolderBrowser;
class MessageBox;
}  // namespace platform

namespace app {

// The chosen folder's path, or the empty text when the dialog was cancelled.
// Every dialog starts at the root of the file system.
QString BrowseForFolderPath(platform::FolderBrowser& browser, const QString& title);

// The path with one separator added at its end unless its last character is
// one already. The separator is the platform's: "/".
QString AddTrailingBackslash(const QString& path);

// Any failure as the reports show it: a tb::Error as it is, anything else
// with the number the condition has always had.
tb::Error toError(std::exception_ptr failure);

// "Err Number: n CR LF Err Description: d CR LF Err Proc: proc"
QString commonErrorText(const tb::Error& e, const QString& proc);
// "Err Number: n CR LF Err Description: d"
QString mainErrorText(const tb::Error& e);
// "Error Number: n CR LF  Error Description: d CR LF Error Folder Name: folder"
QString folderErrorText(const tb::Error& e, const QString& folder);
// "Error Number: n CR LF  Error Description: d CR LF Error File Name: file"
QString fileErrorText(const tb::Error& e, const QString& file);

void showCommonErrorReport(platform::MessageBox& box, const tb::Error& e, const QString& proc);

// Runs `body` under a guard: a failure inside it is shown with the common
// error report under `proc`, and the caller sees a normal return.
template <class Body>
void guarded(platform::MessageBox& box, const QString& proc, Body&& body)
{
    try {
        std::forward<Body>(body)();
    } catch (...) {
        showCommonErrorReport(box, toError(std::current_exception()), proc);
    }
}

}  // namespace app
