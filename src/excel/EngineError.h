#pragma once
// Failures of the workbook engine. They are tb::Error values (number and
// description, as the error reports show them); the description always names
// the file, and says what was expected and what was found where that helps.

#include "platform/sys/Error.h"

#include <string>

namespace excel {

// A workbook that cannot be read or written as asked: 1004, as the engine's
// failures have always been numbered.
tb::Error engineError(const std::string& file, const std::string& what);

// A structural fault found while parsing: which part or record, at which
// offset, what was expected and what was found. The description reads
// "'<file>' is damaged: <where>: <detail>".
tb::Error damaged(const std::string& file, const std::string& where, const std::string& detail);

// A file the engine will not read, said in a sentence about the file:
// "'<file>' is encrypted (password to open) ...".
tb::Error refused(const std::string& file, const std::string& isWhat);

}  // namespace excel
