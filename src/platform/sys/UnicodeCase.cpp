#include "UnicodeCase.h"

#include "Utf8.h"

#include <locale.h>
#include <wctype.h>

namespace tb {

namespace {

// glibc's built-in C.UTF-8 holds the case mappings of all of Unicode; the
// process's own locale is left alone.
locale_t unicodeLocale()
{
    static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(nullptr));
    return locale;
}

// Length of the UTF-8 sequence at s[i] and its code point, or 0 when the
// bytes there are not a well-formed sequence.
std::size_t decode(std::string_view s, std::size_t i, char32_t& cp)
{
    const auto b = [&](std::size_t k) { return static_cast<unsigned char>(s[i + k]); };
    const unsigned char c = b(0);
    std::size_t len = c < 0x80 ? 1 : c >= 0xF0 && c < 0xF5 ? 4 : c >= 0xE0 ? 3 : c >= 0xC2 ? 2 : 0;
    if (len == 0 || i + len > s.size())
        return 0;
    cp = len == 1 ? c : len == 2 ? c & 0x1F : len == 3 ? c & 0x0F : c & 0x07;
    for (std::size_t k = 1; k < len; ++k) {
        if ((b(k) & 0xC0) != 0x80)
            return 0;
        cp = (cp << 6) | (b(k) & 0x3F);
    }
    const char32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    if (cp < least[len] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))
        return 0;
    return len;
}

char32_t fold(char32_t cp, locale_t locale)
{
    if (cp < 0x80)
        return cp >= 'A' && cp <= 'Z' ? cp - 'A' + 'a' : cp;
    if (locale == static_cast<locale_t>(nullptr))
        return cp;
    // Lower of upper: the one-character folding, under which final and
    // medial sigma, or long s and s, are one letter.
    const wint_t upper = towupper_l(static_cast<wint_t>(cp), locale);
    return static_cast<char32_t>(towlower_l(upper, locale));
}

}  // namespace

std::string foldCase(std::string_view utf8)
{
    const locale_t locale = unicodeLocale();
    std::string out;
    out.reserve(utf8.size());
    for (std::size_t i = 0; i < utf8.size();) {
        char32_t cp = 0;
        const std::size_t len = decode(utf8, i, cp);
        if (len == 0) {
            out += utf8[i++];
            continue;
        }
        appendUtf8(fold(cp, locale), out);
        i += len;
    }
    return out;
}

}  // namespace tb
