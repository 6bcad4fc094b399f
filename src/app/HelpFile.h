#pragma once
// The program's help. help/help.chm goes to its program where the desktop
// has one; a stock Linux desktop has none, and there the same pages, built as
// HTML into help/html/, open in the default browser instead.

#include <QString>

namespace platform {
class Shell;
}

namespace app {

// Hands the help to the desktop. The outcome is not waited for: a help that
// is missing altogether opens nothing.
void openHelp(platform::Shell& shell, const QString& appDir);

}  // namespace app
