#pragma once
// Walks the parsed tokens of a BIFF8 formula (Rgce [MS-XLS 2.5.198.104]) to
// change what a copy must change in place: the index of a defined name
// (PtgName) once other sheets' names are gone. Every token keeps its size, so
// the record around the formula keeps its size and every offset in the sheet
// stays valid.

#include "Bytes.h"

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace excel::biff {

struct Ref3d {
    std::uint16_t ixti;
    std::uint16_t rowFirst, rowLast, colFirst, colLast;  // columns without their relative flags
    // Bit 15: the row is relative, bit 14: the column. Where the formula is a
    // shared one, a relative row is a signed offset from the cell, and a
    // relative column one in its low byte [MS-XLS 2.5.198.85, RgceLocRel].
    std::uint16_t flagsFirst, flagsLast;
};

// The rows and columns (0-based, inclusive) a 3D reference of a shared
// formula reaches from the cells rowFirst..rowLast, colFirst..colLast.
struct RefArea {
    std::uint16_t rowFirst, rowLast, colFirst, colLast;
};
RefArea sharedRefArea(const Ref3d& ref, const RefArea& cells);

// What a walk is told about; every callback may be empty.
struct FormulaVisitor {
    // PtgName: its 1-based index into the NAME records (2 bytes, writable).
    std::function<void(std::span<std::byte> index)> name;
    // PtgNameX: the XTI it goes through and its 1-based name index (writable).
    std::function<void(std::uint16_t ixti, std::span<std::byte> index)> nameX;
    // PtgRef3d and PtgArea3d.
    std::function<void(const Ref3d&)> ref;
};

// What a walk that only looks is told; every callback may be empty.
struct FormulaReader {
    // PtgName: its 1-based index into the NAME records.
    std::function<void(std::uint16_t index)> name;
    // PtgNameX: the XTI it goes through and its 1-based name index.
    std::function<void(std::uint16_t ixti, std::uint16_t index)> nameX;
    // PtgRef3d and PtgArea3d.
    std::function<void(const Ref3d&)> ref;
};

// Both are false when the formula holds a token the walker does not know
// (the tokens before it were seen).
bool walkFormula(std::span<std::byte> rgce, const FormulaVisitor& visit);
bool readFormula(Bytes rgce, const FormulaReader& visit);

}  // namespace excel::biff
