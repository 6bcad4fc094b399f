#pragma once
// Faults of the zip layer. They carry the package's file name, the entry and
// what went wrong; the OOXML layer turns them into the engine's 1004 errors.

#include "platform/sys/Error.h"

#include <string>

namespace excel::zip {

// "'<file>' is damaged: zip entry '<entry>': <detail>" (entry may be empty).
tb::Error zipDamaged(const std::string& file, const std::string& entry, const std::string& detail);

}  // namespace excel::zip
