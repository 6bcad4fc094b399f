// The program's entry point: the desktop's services, the real window and
// engine, and Main. The program reads no command line and no environment of
// its own.

#include "app/MainProc.h"
#include "platform/qt/PlatformFactory.h"
#include "platform/sys/LocalTimeZone.h"
#include "platform/sys/MemoryReuse.h"
#include "ui/MainFormHost.h"

#include <QApplication>

int main(int argc, char** argv)
{
    tb::keepFreedMemory();
    tb::pinLocalTimeZone();
    QApplication qapp(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tamberlin"));
    QGuiApplication::setDesktopFileName(QStringLiteral("org.tamberlin.Tamberlin"));  // the menu entry's id
    QApplication::setQuitOnLastWindowClosed(false);  // Main decides when the program ends
    auto platform = platform::createPlatform();
    {
        app::Globals globals(*platform, QCoreApplication::applicationDirPath());
        app::Main(globals, ui::desktopHooks());
    }
    return 0;
}
