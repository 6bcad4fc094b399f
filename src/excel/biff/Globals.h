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

// What the start of a stream tells of its globals, to read no more of the
// stream than listing needs.
struct GlobalsExtent {
    std::optional<std::size_t> end;  // after the EOF, or nothing when `head` ends before it
    std::size_t firstSheet = 0;      // smallest sheet position seen, or 0: where to read up to next
};
GlobalsExtent scanGlobals(Bytes head);

// Checks the BOF (BIFF8 workbook globals; older versions and anything else
// refused with an error naming the file), refuses encrypted workbooks and
// collects the sheet entries. `stream` holds at least the globals.
Globals parseGlobals(Bytes stream, const StreamContext& ctx);

}  // namespace excel::biff
