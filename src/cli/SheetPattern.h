#pragma once
// Which sheets a run keeps: `--sheet GLOB` and `--exclude GLOB`, matched
// without regard to case, `*` for any run of characters and `?` for one.

#include <string>
#include <string_view>
#include <vector>

namespace cli {

// True when `name` matches `pattern` whole. Both are UTF-8; a character is a
// code point, and case is ignored as Unicode's simple case folding does.
bool globMatches(std::string_view pattern, std::string_view name);

struct SheetSelection {
    std::vector<std::string> include;  // none: every sheet
    std::vector<std::string> exclude;

    // The pattern a sheet is left out by, or empty when it is kept.
    std::string excludedBy(const std::string& sheet) const;
};

}  // namespace cli
