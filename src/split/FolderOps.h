#pragma once
// The two folder questions a run asks. Paths are taken byte for byte: the
// chosen folder is the user's, and the names the run builds are trimmed
// where they are built (OutputNaming).

#include <string>

namespace split {

bool FolderExists(const std::string& path);
// Makes one folder whose parent exists; throws tb::Error naming it when it
// cannot: 76 when the parent is missing or a part is "." or "..", 58 when a
// file of that name stands there, 70 or 75 when it may not be made.
void CreateFolder(const std::string& path);

}  // namespace split
