#pragma once
// Walks the tokens of an Excel 5.0/95 formula, whose tokens are the BIFF8
// ones with other sizes (a cell reference holds a 2-byte row and a 1-byte
// column, a 3D reference names its sheets through an EXTERNSHEET index and
// two sheet numbers). A copy changes, in place, what names other sheets and
// defined names; every token keeps its size.

#include "excel/biff/Bytes.h"

#include <cstdint>
#include <functional>
#include <span>

namespace excel::biff5 {

// The writable fields of one 3D reference (PtgRef3d, PtgArea3d and their
// error forms): the EXTERNSHEET index, negative for the workbook itself
// (-1 is the first entry), and the first and last sheet.
struct SheetRef {
    std::span<std::byte> ixals;  // 2 bytes, signed
    std::span<std::byte> tabs;   // 4 bytes: first and last sheet
    std::int16_t externSheet() const;
    std::uint16_t firstTab() const;
    std::uint16_t lastTab() const;
};

struct TokenVisitor {
    std::function<void(SheetRef)> sheetRef;
    // PtgName: its 1-based index into the NAME records (2 bytes).
    std::function<void(std::span<std::byte> index)> name;
    // PtgNameX: its EXTERNSHEET index (2 bytes, signed) and name index (2 bytes).
    std::function<void(std::span<std::byte> ixals, std::span<std::byte> index)> nameX;
};

// False when the formula holds a token the walker does not know or is cut
// short (the tokens before were visited).
bool walkTokens(std::span<std::byte> rgce, const TokenVisitor& visit);

}  // namespace excel::biff5
