#include "ImageList.h"

#include "platform/sys/Error.h"

#include <QPixmap>

namespace ui {

void ImageList::setImageSize(int width, int height)
{
    width_ = width;
    height_ = height;
}

void ImageList::Add(int index, const QString& key, const QImage& picture)
{
    if (index < 1 || index > Count() + 1)
        throw tb::Error(tb::err::SubscriptOutOfRange, "Index out of bounds: " + std::to_string(index) + ".");
    for (const auto& e : images_) {
        if (!key.isEmpty() && e.key == key)
            throw tb::Error(35602, "Key is not unique in collection: " + key.toStdString() + ".");
    }
    const QImage scaled = picture.size() == QSize(width_, height_)
                              ? picture
                              : picture.scaled(width_, height_, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    images_.insert(images_.begin() + (index - 1), Entry{key, QIcon(QPixmap::fromImage(scaled))});
}

QIcon ImageList::icon(int index) const
{
    if (index < 1 || index > Count())
        throw tb::Error(tb::err::SubscriptOutOfRange, "Index out of bounds: " + std::to_string(index) + ".");
    return images_[static_cast<std::size_t>(index - 1)].icon;
}

QString ImageList::key(int index) const
{
    if (index < 1 || index > Count())
        throw tb::Error(tb::err::SubscriptOutOfRange, "Index out of bounds: " + std::to_string(index) + ".");
    return images_[static_cast<std::size_t>(index - 1)].key;
}

}  // namespace ui
