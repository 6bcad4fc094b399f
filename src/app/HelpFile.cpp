#include "HelpFile.h"

#include "AppPaths.h"
#include "platform/Platform.h"

#include <QFileInfo>

namespace app {

void openHelp(platform::Shell& shell, const QString& appDir)
{
    QString target = appFile(appDir, QStringLiteral("\\help\\help.chm"));
    if (!shell.hasDefaultHandler(target)) {
        const QString pages = appFile(appDir, QStringLiteral("\\help\\html\\index.html"));
        if (QFileInfo(pages).isFile())
            target = pages;
    }
    shell.openWithDefaultHandler(target);
}

}  // namespace app
