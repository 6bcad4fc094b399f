#include "Passwords.h"

#include "excel/EngineError.h"
#include "excel/biff/Strings.h"

namespace excel::crypto {

Bytes utf16le(const std::string& utf8)
{
    Bytes out;
    for (char16_t c : biff::toUtf16(utf8)) {
        out.push_back(std::byte(c & 0xFF));
        out.push_back(std::byte(c >> 8));
    }
    return out;
}

Bytes xorPasswordBytes(const std::string& utf8)
{
    Bytes out;
    for (char16_t c : biff::toUtf16(utf8)) {
        if (out.size() == 15)
            break;
        out.push_back(std::byte((c & 0xFF) != 0 ? (c & 0xFF) : (c >> 8)));
    }
    return out;
}

void throwNoPassword(const std::string& file)
{
    throw refused(file, "is encrypted (password to open), and no password given opens it.");
}

}  // namespace excel::crypto
