#pragma once
// BIFF8 strings [MS-XLS 2.5.293-2.5.296]: a flags byte, then the characters
// either compressed (one byte each, the low byte of a UTF-16 unit) or as
// UTF-16LE. Names reach the object model as UTF-8.

#include "Bytes.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace excel::biff {

std::string toUtf8(const std::u16string& s);
std::u16string toUtf16(const std::string& utf8);

// Reads `cch` characters of an XLUnicodeStringNoCch at `at` (its flags byte
// first) and moves `at` past them. False when the body is too short.
bool readStringNoCch(Bytes b, std::size_t& at, std::size_t cch, std::u16string& out);

// Appends an XLUnicodeStringNoCch: compressed when every unit fits a byte.
void writeStringNoCch(std::vector<std::byte>& out, std::u16string_view s);
// Appends an XLUnicodeString (16-bit count, flags, characters).
void writeString16(std::vector<std::byte>& out, std::u16string_view s);

}  // namespace excel::biff
