#pragma once
// The two folder questions a run asks, under the desktop's file-name rules
// (trailing periods and blanks of every part dropped, as Windows does).

#include <string>

namespace split {

bool FolderExists(const std::string& path);
// Makes one folder whose parent exists; throws tb::Error naming it when it
// cannot (58 when a file of that name stands there, 76, 70).
void CreateFolder(const std::string& path);

}  // namespace split
