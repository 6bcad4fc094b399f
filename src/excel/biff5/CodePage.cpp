#include "CodePage.h"

#include <cerrno>
#include <iconv.h>
#include <memory>

namespace excel::biff5 {

namespace {

// iconv's name for a Windows code page number as Excel stores it.
std::string charsetOf(std::uint16_t cp)
{
    switch (cp) {
    case 367: return "ASCII";
    case 1200:   // UTF-16 is BIFF8's; BIFF5 strings are single bytes (some writers put 1200 there anyway)
    case 32769:  // Excel 2.x's "Windows 1252"
        return "CP1252";
    case 10000:
    case 32768: return "MACINTOSH";
    case 65001: return "UTF-8";
    default: return "CP" + std::to_string(cp);
    }
}

struct Converter {
    iconv_t cd;
    explicit Converter(const std::string& to, const std::string& from) : cd(iconv_open(to.c_str(), from.c_str())) {}
    ~Converter()
    {
        if (ok())
            iconv_close(cd);
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;
    bool ok() const { return cd != reinterpret_cast<iconv_t>(-1); }

    // Converts `in` whole; an input byte that does not convert is dropped
    // and `bad` appended in its place.
    std::string run(std::string_view in, std::string_view bad)
    {
        std::string out;
        char buf[256];
        char* src = const_cast<char*>(in.data());
        std::size_t left = in.size();
        while (left > 0) {
            char* dst = buf;
            std::size_t room = sizeof buf;
            const std::size_t r = iconv(cd, &src, &left, &dst, &room);
            out.append(buf, static_cast<std::size_t>(dst - buf));
            if (r == static_cast<std::size_t>(-1) && errno != E2BIG) {
                // EILSEQ or EINVAL: skip one byte of input.
                out.append(bad);
                ++src;
                --left;
                iconv(cd, nullptr, nullptr, nullptr, nullptr);
            }
        }
        return out;
    }
};

}  // namespace

CodePage::CodePage(std::uint16_t number) : number_(number), charset_(charsetOf(number))
{
    Converter probe("UTF-8", charset_);
    if (!probe.ok())
        charset_ = "CP1252";
}

std::string CodePage::toUtf8(std::string_view bytes) const
{
    Converter c("UTF-8", charset_);
    return c.ok() ? c.run(bytes, "\xEF\xBF\xBD") : std::string(bytes);
}

std::string CodePage::fromUtf8(std::string_view utf8) const
{
    Converter c(charset_, "UTF-8");
    if (!c.ok())
        return std::string(utf8);
    // A character the code page lacks: its UTF-8 bytes are skipped one by
    // one, so drop the continuation bytes' '?' marks after the first.
    std::string out;
    for (std::size_t i = 0; i < utf8.size();) {
        std::size_t n = 1;
        while (i + n < utf8.size() && (static_cast<unsigned char>(utf8[i + n]) & 0xC0) == 0x80)
            ++n;
        const std::string piece = c.run(utf8.substr(i, n), "?");
        out += piece.find('?') != std::string::npos && utf8.substr(i, n) != "?" ? std::string("?") : piece;
        i += n;
    }
    return out;
}

}  // namespace excel::biff5
