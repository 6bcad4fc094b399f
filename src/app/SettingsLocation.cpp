#include "SettingsLocation.h"

#include "platform/sys/AtomicFile.h"
#include "platform/sys/FileBytes.h"

#include <QDir>
#include <QFileInfo>

#include <unistd.h>

namespace app {

UserFolders UserFolders::fromEnvironment()
{
    return {qEnvironmentVariable("XDG_CONFIG_HOME"), qEnvironmentVariable("HOME")};
}

QString userSettingsFile(const UserFolders& folders)
{
    // The base directory rules ignore a relative XDG_CONFIG_HOME.
    QString base = folders.configHome;
    if (base.isEmpty() || QDir::isRelativePath(base)) {
        if (folders.home.isEmpty() || QDir::isRelativePath(folders.home))
            return {};
        base = folders.home + QStringLiteral("/.config");
    }
    return QDir::cleanPath(base + QStringLiteral("/tamberlin/Config.cfg"));
}

bool canRewriteInPlace(const QString& file)
{
    const QFileInfo info(file);
    if (!info.isFile())
        return false;
    const QByteArray path = QFile::encodeName(info.absoluteFilePath());
    const QByteArray folder = QFile::encodeName(info.absolutePath());
    return ::access(path.constData(), W_OK) == 0 && ::access(folder.constData(), W_OK | X_OK) == 0;
}

namespace {

// A whole copy or none: a start cut short never leaves half a settings file.
bool copyShippedFile(const QString& shipped, const QString& user)
{
    try {
        if (!QDir().mkpath(QFileInfo(user).absolutePath()))
            return false;
        const auto bytes = tb::fs::openFileBytes(QFile::encodeName(shipped).toStdString());
        tb::fs::writeFileAtomically(QFile::encodeName(user).toStdString(),
                                    [&](tb::ByteSink& sink) { sink.write(bytes->bytes()); });
        return true;
    } catch (...) {
        return false;
    }
}

}  // namespace

QString chooseSettingsFile(const QString& shipped, const UserFolders& folders,
                           const std::function<bool(const QString&)>& writable)
{
    if (writable(shipped))
        return shipped;
    const QString user = userSettingsFile(folders);
    if (user.isEmpty())
        return shipped;
    // Whatever stands there is the user's file, damaged or not: the store
    // reports what it cannot read, and deleting the file brings back a copy.
    if (QFileInfo(user).exists() || QFileInfo(user).isSymLink())
        return user;
    if (!QFileInfo(shipped).isFile())
        return shipped;  // the store's error names the file that is missing
    return copyShippedFile(shipped, user) ? user : shipped;
}

}  // namespace app
