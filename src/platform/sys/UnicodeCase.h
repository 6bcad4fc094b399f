#pragma once
// Paths compared as the desktop's file dialogs and lists compare them: every
// letter folded to one case, whatever its script ("Ä.xlsx" and "ä.xlsx" are
// one name), by the C library's Unicode tables.

#include <string>
#include <string_view>

namespace tb {

// UTF-8 text with each character's case folded; bytes that are not valid
// UTF-8 are kept as they are.
std::string foldCase(std::string_view utf8);

}  // namespace tb
