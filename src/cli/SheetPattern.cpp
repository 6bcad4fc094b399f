#include "SheetPattern.h"

#include "platform/sys/UnicodeCase.h"

namespace cli {

namespace {

// Code points of a UTF-8 string; a byte that starts no valid sequence
// stands for itself, so that a damaged name still matches itself.
std::u32string codePoints(std::string_view s)
{
    std::u32string out;
    for (std::size_t i = 0; i < s.size();) {
        const auto b = static_cast<unsigned char>(s[i]);
        const std::size_t len = b < 0x80 ? 1 : b >= 0xF0 ? 4 : b >= 0xE0 ? 3 : b >= 0xC0 ? 2 : 0;
        char32_t cp = len == 1 ? b : len == 2 ? (b & 0x1F) : len == 3 ? (b & 0x0F) : (b & 0x07);
        bool ok = len != 0 && i + len <= s.size();
        for (std::size_t k = 1; ok && k < len; ++k) {
            const auto c = static_cast<unsigned char>(s[i + k]);
            ok = (c & 0xC0) == 0x80;
            cp = (cp << 6) | (c & 0x3F);
        }
        out.push_back(ok ? cp : b);
        i += ok ? len : 1;
    }
    return out;
}

}  // namespace

bool globMatches(std::string_view pattern, std::string_view name)
{
    // Folded as the task list folds paths, then compared character by character.
    const auto p = codePoints(tb::foldCase(pattern));
    const auto n = codePoints(tb::foldCase(name));
    // The classic backtracking match: on a mismatch after a "*", the star
    // takes one more character of the name; linear in practice.
    std::size_t pi = 0, ni = 0, starP = std::u32string::npos, starN = 0;
    while (ni < n.size()) {
        if (pi < p.size() && p[pi] == U'*') {
            starP = pi++;
            starN = ni;
        } else if (pi < p.size() && (p[pi] == U'?' || p[pi] == n[ni])) {
            ++pi;
            ++ni;
        } else if (starP != std::u32string::npos) {
            pi = starP + 1;
            ni = ++starN;
        } else {
            return false;
        }
    }
    while (pi < p.size() && p[pi] == U'*')
        ++pi;
    return pi == p.size();
}

std::string SheetSelection::excludedBy(const std::string& sheet) const
{
    if (!include.empty()) {
        bool any = false;
        for (const auto& g : include)
            any = any || globMatches(g, sheet);
        if (!any)
            return include.size() == 1 ? "--sheet " + include.front() : "no --sheet pattern";
    }
    for (const auto& g : exclude) {
        if (globMatches(g, sheet))
            return "--exclude " + g;
    }
    return {};
}

}  // namespace cli
