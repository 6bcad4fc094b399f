#pragma once
// Cached values of the cells a copy's external references point at: XCT and
// CRN records after the SUPBOOK that names the source [MS-XLS 2.4.353,
// 2.4.65]. With them a reader shows the copy's formulas with the values the
// source had, without opening the source.

#include "Globals.h"
#include "Sst.h"
#include "Substreams.h"

#include <cstdint>
#include <map>
#include <vector>

namespace excel::biff {

struct CellArea {
    std::uint16_t rowFirst, rowLast, colFirst, colLast;
    auto operator<=>(const CellArea&) const = default;
};

// `wanted`: per source sheet (index into globals.sheets, which is also the
// sheet's index in the SUPBOOK), the areas referred to. Returns the XCT and
// CRN records, headers included, for the cells of those areas that hold a
// value. The sheets are read through `sheets`.
std::vector<std::byte> externalCache(Substreams& sheets, const Globals& globals, const SstTable& strings,
                                     const std::map<std::uint16_t, std::vector<CellArea>>& wanted,
                                     const StreamContext& ctx);

}  // namespace excel::biff
