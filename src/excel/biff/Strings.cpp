#include "Strings.h"

#include "platform/sys/Utf8.h"

namespace excel::biff {

std::string toUtf8(const std::u16string& s)
{
    std::string out;
    out.reserve(s.size());
    for (std::size_t i = 0; i < s.size(); ++i) {
        char32_t c = s[i];
        if (c >= 0xD800 && c < 0xDC00 && i + 1 < s.size() && s[i + 1] >= 0xDC00 && s[i + 1] < 0xE000) {
            c = 0x10000 + ((c - 0xD800) << 10) + (s[i + 1] - 0xDC00);
            ++i;
        } else if (c >= 0xD800 && c < 0xE000) {
            c = 0xFFFD;  // a lone surrogate has no UTF-8 form
        }
        tb::appendUtf8(c, out);
    }
    return out;
}

std::u16string toUtf16(const std::string& s)
{
    std::u16string out;
    for (std::size_t i = 0; i < s.size();) {
        const unsigned char b = static_cast<unsigned char>(s[i]);
        char32_t c = 0xFFFD;
        std::size_t n = 1;
        if (b < 0x80) {
            c = b;
        } else if ((b >> 5) == 6 && i + 1 < s.size()) {
            c = ((b & 0x1F) << 6) | (s[i + 1] & 0x3F);
            n = 2;
        } else if ((b >> 4) == 14 && i + 2 < s.size()) {
            c = ((b & 0x0F) << 12) | ((s[i + 1] & 0x3F) << 6) | (s[i + 2] & 0x3F);
            n = 3;
        } else if ((b >> 3) == 30 && i + 3 < s.size()) {
            c = ((b & 0x07) << 18) | ((s[i + 1] & 0x3F) << 12) | ((s[i + 2] & 0x3F) << 6) | (s[i + 3] & 0x3F);
            n = 4;
        }
        if (c >= 0x10000) {
            c -= 0x10000;
            out += static_cast<char16_t>(0xD800 + (c >> 10));
            out += static_cast<char16_t>(0xDC00 + (c & 0x3FF));
        } else {
            out += static_cast<char16_t>(c);
        }
        i += n;
    }
    return out;
}

bool readStringNoCch(Bytes b, std::size_t& at, std::size_t cch, std::u16string& out)
{
    if (at >= b.size())
        return false;
    const bool wide = u8(b, at) & 0x01;
    ++at;
    const std::size_t bytes = wide ? 2 * cch : cch;
    if (b.size() - at < bytes)
        return false;
    out.clear();
    out.reserve(cch);
    for (std::size_t i = 0; i < cch; ++i)
        out += wide ? static_cast<char16_t>(u16(b, at + 2 * i)) : static_cast<char16_t>(u8(b, at + i));
    at += bytes;
    return true;
}

void writeStringNoCch(std::vector<std::byte>& out, std::u16string_view s)
{
    bool wide = false;
    for (char16_t c : s)
        wide = wide || c > 0xFF;
    push8(out, wide ? 1 : 0);
    for (char16_t c : s) {
        if (wide)
            push16(out, c);
        else
            push8(out, static_cast<std::uint8_t>(c));
    }
}

void writeString16(std::vector<std::byte>& out, std::u16string_view s)
{
    push16(out, static_cast<std::uint16_t>(s.size()));
    writeStringNoCch(out, s);
}

}  // namespace excel::biff
