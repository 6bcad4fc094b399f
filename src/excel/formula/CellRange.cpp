#include "CellRange.h"

#include <string>

namespace excel::formula {

namespace {

bool isAlpha(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Reads [$]letters; 0 when there are none or the column is out of range.
std::uint32_t readColumn(std::string_view s, std::size_t& i)
{
    std::size_t j = i;
    if (j < s.size() && s[j] == '$')
        ++j;
    std::uint32_t col = 0;
    std::size_t n = 0;
    while (j < s.size() && isAlpha(s[j]) && n < 4) {
        col = col * 26 + static_cast<std::uint32_t>((s[j] | 0x20) - 'a' + 1);
        ++j;
        ++n;
    }
    if (n == 0 || n > 3 || col > kMaxCol)
        return 0;
    i = j;
    return col;
}

std::uint32_t readRow(std::string_view s, std::size_t& i)
{
    std::size_t j = i;
    if (j < s.size() && s[j] == '$')
        ++j;
    std::uint32_t row = 0;
    std::size_t n = 0;
    while (j < s.size() && isDigit(s[j])) {
        row = row * 10 + static_cast<std::uint32_t>(s[j] - '0');
        if (row > kMaxRow)
            return 0;
        ++j;
        ++n;
    }
    if (n == 0 || row == 0)
        return 0;
    i = j;
    return row;
}

}  // namespace

std::optional<CellAddress> parseCell(std::string_view s)
{
    std::size_t i = 0;
    const std::uint32_t col = readColumn(s, i);
    if (col == 0)
        return std::nullopt;
    const std::uint32_t row = readRow(s, i);
    if (row == 0 || i != s.size())
        return std::nullopt;
    return CellAddress{row, col};
}

std::optional<CellRange> parseRange(std::string_view s)
{
    const auto colon = s.find(':');
    if (colon == std::string_view::npos) {
        if (auto c = parseCell(s))
            return CellRange{*c, *c};
        return std::nullopt;
    }
    const auto a = s.substr(0, colon);
    const auto b = s.substr(colon + 1);
    if (auto c1 = parseCell(a)) {
        if (auto c2 = parseCell(b))
            return CellRange{{std::min(c1->row, c2->row), std::min(c1->col, c2->col)},
                             {std::max(c1->row, c2->row), std::max(c1->col, c2->col)}};
        return std::nullopt;
    }
    std::size_t i = 0, j = 0;
    if (const auto c1 = readColumn(a, i); c1 != 0 && i == a.size()) {
        if (const auto c2 = readColumn(b, j); c2 != 0 && j == b.size())
            return CellRange{{1, std::min(c1, c2)}, {kMaxRow, std::max(c1, c2)}};
        return std::nullopt;
    }
    i = j = 0;
    if (const auto r1 = readRow(a, i); r1 != 0 && i == a.size()) {
        if (const auto r2 = readRow(b, j); r2 != 0 && j == b.size())
            return CellRange{{std::min(r1, r2), 1}, {std::max(r1, r2), kMaxCol}};
    }
    return std::nullopt;
}

std::string columnName(std::uint32_t col)
{
    std::string out;
    while (col > 0) {
        const std::uint32_t r = (col - 1) % 26;
        out.insert(out.begin(), static_cast<char>('A' + r));
        col = (col - 1) / 26;
    }
    return out;
}

}  // namespace excel::formula
