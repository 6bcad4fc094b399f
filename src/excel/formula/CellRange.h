#pragma once
// A1-style cell addresses and ranges, as the local part of a reference holds
// them: "A1", "$B$2:C10", "A:C" (whole columns), "3:5" (whole rows).

#include <cstdint>
#include <optional>
#include <string_view>

namespace excel::formula {

inline constexpr std::uint32_t kMaxRow = 1048576;
inline constexpr std::uint32_t kMaxCol = 16384;

struct CellAddress {
    std::uint32_t row = 0;  // 1-based
    std::uint32_t col = 0;  // 1-based
};

struct CellRange {
    CellAddress first;
    CellAddress last;
    bool contains(CellAddress a) const
    {
        return a.row >= first.row && a.row <= last.row && a.col >= first.col && a.col <= last.col;
    }
};

// "A1", "$A$1" -> address; anything else -> nullopt.
std::optional<CellAddress> parseCell(std::string_view s);
// A cell, a cell range, a column range or a row range; nullopt when `s` is a
// name or anything else.
std::optional<CellRange> parseRange(std::string_view s);
// 1 -> "A", 28 -> "AB".
std::string columnName(std::uint32_t col);

}  // namespace excel::formula
