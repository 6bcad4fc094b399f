#pragma once
// The workbook globals substream [MS-XLS 2.1.7.20.3]: the records from the
// stream's first BOF to its EOF. Listing needs only the sheet entries; a copy
// walks the records again itself.

#include "Records.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace excel::biff {

enum class SheetType : std::uint8_t { Worksheet = 0, Macro = 1, Chart = 2, VbModule = 6 };

struct SheetEntry {
    std::u16string name;
    std::uint32_t position = 0;  // of the sheet's BOF in the stream (lbPlyPos)
    std::uint8_t state = 0;      // 0 visible, 1 hidden, 2 very hidden
    std::uint8_t type = 0;       // SheetType
};

struct Globals {
    std::size_t end = 0;             // after the EOF record
    std::vector<SheetEntry> sheets;  // every BOUNDSHEET8, in order
};

// Where the globals substream ends (after its EOF), or nothing when `head`
// ends before it; used to read no more of the stream than listing needs.
std::optional<std::size_t> findGlobalsEnd(Bytes head);

// The smallest sheet position among the BOUNDSHEET8 records whole in `head`,
// or 0: where the globals must have ended, to read up to in one go.
std::size_t firstSheetPosition(Bytes head);

// Checks the BOF (BIFF8 workbook globals; older versions and anything else
// refused with an error naming the file), refuses encrypted workbooks and
// collects the sheet entries. `stream` holds at least the globals.
Globals parseGlobals(Bytes stream, const StreamContext& ctx);

}  // namespace excel::biff
