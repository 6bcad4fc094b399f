#pragma once
// The bytes of a file, for readers that parse from memory. A large file is
// mapped read-only, so that listing a large workbook pages in only the parts
// it touches; a small one is read whole, which costs less than mapping it.

#include "ByteSink.h"

#include <filesystem>
#include <memory>

namespace tb::fs {

// Throws tb::Error (53, 70, 75, 76) naming the path.
std::shared_ptr<const ByteSource> openFileBytes(const std::filesystem::path& path);

}  // namespace tb::fs
