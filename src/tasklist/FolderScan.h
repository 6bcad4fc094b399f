#pragma once
// The workbooks of one folder, as the folder command adds them: ordinary
// files only (no folders, no hidden dot-files, nothing from sub-folders)
// whose names end in the given extension, case ignored, sorted by name.

#include <string>
#include <vector>

namespace tasklist {

// `extension` with its dot, e.g. ".xls". Throws tb::Error 76 when the
// folder cannot be read.
std::vector<std::string> scanFolder(const std::string& folder, const std::string& extension);

// The folder's subfolders in name order, hidden ones and links left out
// (a link could lead back up). Throws tb::Error 76 as scanFolder.
std::vector<std::string> scanSubfolders(const std::string& folder);

}  // namespace tasklist
