#include "PictureFile.h"

#include <QFileInfo>
#include <QImageReader>

namespace platform {

std::optional<QImage> loadPictureFile(const QString& path)
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

}  // namespace platform
