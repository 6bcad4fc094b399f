#pragma once
// The workbook globals substream [MS-XLS 2.1.7.20.3]: the records from the
// stream's first BOF to its EOF. Listing needs only the sheet entries; a copy
// walks the records again itself.

#include "Records.h"

#include <cstdint>
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

// Checks the first record: a BIFF8 workbook globals BOF. Older versions and
// anything else are refused with an error naming the file.
void checkGlobalsBof(const Record& r, const StreamContext& ctx);

// Takes in one record after the BOF: a sheet entry is added, an encrypted
// workbook refused. False at the globals' EOF.
bool takeGlobalsRecord(Globals& g, const Record& r, const StreamContext& ctx);

// Reads the globals from `reader` (a RecordReader, or StreamRecords, which
// reads a record where it lies) up to their EOF, and no further.
template <class Reader>
Globals readGlobals(Reader& reader, const StreamContext& ctx)
{
    Globals g;
    checkGlobalsBof(reader.next(), ctx);
    for (;;) {
        if (reader.atEnd())
            throwDamagedAt(ctx, reader.position(), "the workbook globals end without an EOF record");
        if (!takeGlobalsRecord(g, reader.next(), ctx))
            break;
    }
    g.end = reader.position();
    return g;
}

// The same over a stream held whole.
inline Globals parseGlobals(Bytes stream, const StreamContext& ctx)
{
    RecordReader reader(stream, 0, ctx);
    return readGlobals(reader, ctx);
}

}  // namespace excel::biff
