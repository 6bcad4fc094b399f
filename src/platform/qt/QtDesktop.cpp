#include "QtPlatform.h"

#include <QApplication>
#include <QFileInfo>
#include <QImageReader>
#include <QKeyEvent>
#include <QProcess>
#include <QStandardPaths>
#include <QWidget>

namespace platform::qt {

void XdgShell::openWithDefaultHandler(const QString& target)
{
    // The outcome is the desktop's business; the program does not wait for it.
    QProcess::startDetached(QStringLiteral("xdg-open"), {target});
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

std::optional<QImage> QtPictureLoader::load(const QString& path)
{
    if (!QFileInfo(path).isFile())
        return std::nullopt;
    QImageReader reader(path);
    QImage best;
    for (int i = 0, n = qMax(1, reader.imageCount()); i < n; ++i) {
        if (i > 0 && !reader.jumpToImage(i))
            break;
        QImage img = reader.read();
        if (!img.isNull() && img.width() * img.height() > best.width() * best.height())
            best = img;
    }
    if (best.isNull())
        return std::nullopt;
    return best;
}

}  // namespace platform::qt
