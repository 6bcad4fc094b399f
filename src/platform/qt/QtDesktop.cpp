#include "QtPlatform.h"

#include "platform/PictureFile.h"

#include <QApplication>
#include <QFileInfo>
#include <QKeyEvent>
#include <QMimeDatabase>
#include <QProcess>
#include <QStandardPaths>
#include <QWidget>

namespace platform::qt {

void XdgShell::openWithDefaultHandler(const QString& target)
{
    // The outcome is the desktop's business; the program does not wait for it.
    QProcess::startDetached(QStringLiteral("xdg-open"), {target});
}

bool XdgShell::hasDefaultHandler(const QString& file)
{
    // The type as the shared MIME database names it, then the desktop's
    // choice for that type as xdg-open would find it.
    const QString type = QMimeDatabase().mimeTypeForFile(file).name();
    QProcess query;
    query.start(QStringLiteral("xdg-mime"), {QStringLiteral("query"), QStringLiteral("default"), type});
    if (!query.waitForFinished(5000)) {
        query.kill();
        query.waitForFinished();
        return false;
    }
    return query.exitStatus() == QProcess::NormalExit && query.exitCode() == 0 &&
           !query.readAllStandardOutput().trimmed().isEmpty();
}

bool XdgShell::startDetached(const QString& program, const QStringList& arguments)
{
    return QProcess::startDetached(program, arguments);
}

void QtKeySender::sendKey(int qtKey)
{
    QWidget* target = QApplication::focusWidget();
    if (!target)
        target = QApplication::activeWindow();
    if (!target)
        return;
    QApplication::postEvent(target, new QKeyEvent(QEvent::KeyPress, qtKey, Qt::NoModifier));
    QApplication::postEvent(target, new QKeyEvent(QEvent::KeyRelease, qtKey, Qt::NoModifier));
}

RegistryValue SystemLookup::query(const QString& root, const QString& subKey, const QString& valueName)
{
    RegistryValue v;
    const bool systemInfoKey = root == QLatin1String("HKEY_LOCAL_MACHINE") &&
                               subKey.compare(QLatin1String("SOFTWARE\\Microsoft\\Shared Tools\\MSInfo"),
                                              Qt::CaseInsensitive) == 0 &&
                               valueName.compare(QLatin1String("PATH"), Qt::CaseInsensitive) == 0;
    if (!systemInfoKey)
        return v;
    for (const char* tool : {"hardinfo", "gnome-system-monitor", "kinfocenter"}) {
        const QString path = QStandardPaths::findExecutable(QString::fromLatin1(tool));
        if (!path.isEmpty()) {
            v.status = reg::Success;
            v.type = reg::TypeString;
            v.data = path.toLocal8Bit();
            v.data.append('\0');
            return v;
        }
    }
    return v;
}

std::optional<QImage> QtPictureLoader::load(const QString& path) { return loadPictureFile(path); }

}  // namespace platform::qt
