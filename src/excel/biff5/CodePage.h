#pragma once
// Excel 5.0/95 keeps its strings as bytes in the workbook's code page (the
// CODEPAGE record [MS-XLS 2.4.52]); the engine's names are UTF-8. Conversion
// goes through iconv; a code page it does not know is read as Windows-1252,
// as Excel 95 wrote by default.

#include <cstdint>
#include <string>
#include <string_view>

namespace excel::biff5 {

class CodePage {
public:
    explicit CodePage(std::uint16_t number = 1252);
    std::uint16_t number() const { return number_; }
    // Bytes in this code page as UTF-8; a byte that does not decode becomes U+FFFD.
    std::string toUtf8(std::string_view bytes) const;
    // UTF-8 as bytes in this code page; a character it lacks becomes '?'.
    std::string fromUtf8(std::string_view utf8) const;

private:
    std::uint16_t number_;
    std::string charset_;  // iconv's name for it
};

}  // namespace excel::biff5
