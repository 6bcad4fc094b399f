#pragma once
// Names compared as Windows and zip packages compare them: ASCII letters
// folded, every other byte as it is.

#include <string>

namespace tb {

inline std::string foldAscii(std::string s)
{
    for (char& c : s) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
    return s;
}

}  // namespace tb
