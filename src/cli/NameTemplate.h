#pragma once
// `--name TEMPLATE`: where under the output folder a sheet's copy goes,
// from the fields {book}, {stem}, {sheet}, {index} and {ext}.

#include <string>

namespace cli {

struct NameFields {
    std::string book;   // the workbook's short name, as the window names its folder
    std::string stem;   // the file name without its extension
    std::string sheet;
    int index = 0;      // 1-based tab position
    std::string ext;    // the copy's real format: xls, xlsx or xlsm
};

// The template every run of the window uses.
inline constexpr const char* kDefaultName = "{book}/{sheet}.xls";

// Empty when the template can name files; otherwise what is wrong with it.
std::string templateProblem(const std::string& tmpl);

// The path relative to the output folder. Each of its parts loses trailing
// periods and blanks, as the window's names do. Throws tb::Error 1004 when
// a field would lead out of the output folder (a "/" or NUL in a sheet
// name, a part that is empty, "." or "..").
std::string expandName(const std::string& tmpl, const NameFields& fields, const std::string& workbook);

}  // namespace cli
