#include "AppPaths.h"

#include <QDir>
#include <QFileInfo>

namespace app {

QString appFile(const QString& appDir, const QString& relative)
{
    QString path = QDir::cleanPath(appDir);
    QString rel = relative;
    rel.replace(QLatin1Char('\\'), QLatin1Char('/'));
    const QStringList parts = rel.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    bool resolving = true;  // once a part is missing, the rest is kept as written
    for (const QString& part : parts) {
        const QString exact = path + QLatin1Char('/') + part;
        if (!resolving || QFileInfo::exists(exact)) {
            path = exact;
            continue;
        }
        const QStringList entries =
            QDir(path).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
        QString match;
        for (const QString& e : entries) {
            if (e.compare(part, Qt::CaseInsensitive) == 0) {
                match = e;
                break;
            }
        }
        if (match.isEmpty()) {
            resolving = false;
            path = exact;
        } else {
            path += QLatin1Char('/') + match;
        }
    }
    return path;
}

}  // namespace app
