#pragma once
// Path rules the program's output tree follows. Workbook and sheet names go
// straight into file names, and users expect the tree that Windows would give
// them: Windows drops trailing periods and blanks from a name it creates, so
// "Book1.xlsx" minus its extension is the folder "Book1" and a file saved as
// "Sheet1.xls " is "Sheet1.xls". Only names the program makes are trimmed;
// folders that exist already are taken as they are.

#include <filesystem>
#include <string>

namespace tb::fs {

// The path with one "/" at its end, unless its last character is one.
std::string withTrailingSeparator(const std::string& path);

// One path component with its trailing periods and blanks removed.
std::string trimComponent(const std::string& component);

// Why a path may not be written, or empty when it may. A path is refused when
// it holds a NUL or another control character, has a "." or ".." component
// (a forged name must never climb out of the folder it was meant for), names
// no file, or names one that is empty after trimming.
std::string whyUnwritable(const std::filesystem::path& p);

}  // namespace tb::fs
