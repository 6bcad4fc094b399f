#pragma once

#include <QImage>
#include <QString>

#include <optional>

namespace platform {

// The largest image of a picture, icon or cursor file; nothing when the file
// is missing or no image of it can be read.
std::optional<QImage> loadPictureFile(const QString& path);

}  // namespace platform
