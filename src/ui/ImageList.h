#pragma once
// The pictures the toolbar takes its buttons' images from, by 1-based index
// or by key, all scaled to one size.

#include <QIcon>
#include <QImage>
#include <QString>

#include <vector>

namespace ui {

class ImageList {
public:
    void setImageSize(int width, int height);
    int ImageWidth() const { return width_; }
    int ImageHeight() const { return height_; }
    // Inserts at the 1-based index; throws tb::Error 35602 for a key in use
    // and 9 for an index out of range.
    void Add(int index, const QString& key, const QImage& picture);
    int Count() const { return static_cast<int>(images_.size()); }
    QIcon icon(int index) const;  // 1-based; error 9 when out of range
    QString key(int index) const;

private:
    struct Entry {
        QString key;
        QIcon icon;
    };
    int width_ = 16;
    int height_ = 16;
    std::vector<Entry> images_;
};

}  // namespace ui
