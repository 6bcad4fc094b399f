#pragma once
// A one-sheet copy of a BIFF8 workbook, made at record level: the globals
// substream keeps its records (fonts, formats, XF, styles, palette, drawing
// group, calculation settings) with the sheet list, the shared strings, the
// names and the external references cut down to the one sheet; the sheet's
// substream is copied record by record with its stream offsets moved.

#include "Globals.h"
#include "RecordTypes.h"
#include "Records.h"
#include "Sst.h"
#include "Substreams.h"
#include "excel/Document.h"

#include <cstdint>
#include <deque>
#include <set>
#include <vector>

namespace excel::biff {

struct SheetCopy {
    std::vector<std::byte> stream;        // the new Workbook stream
    std::set<std::uint32_t> embeddings;   // ObjectPool storages the sheet's OLE objects use ("_<n>")
    ValuesReport values;                  // what a copy that keeps values only changed
    std::uint32_t emptiedCells = 0;       // string cells that referred past the shared-string table
    bool cutShort = false;                // the sheet's records end early, with the stream
};

// What every copy of one workbook reads alike, read once: the globals
// substream's records and the shared strings. The records are spans into
// the file's bytes, which must outlive them, or into `copies`.
struct GlobalRecords {
    std::deque<std::vector<std::byte>> copies;  // records whose sectors are not contiguous
    std::vector<ContinuedRecord> records;
    SstTable strings;
};

// Reads the globals' records from `reader` (a RecordReader, or
// StreamRecords whose copies go to `into.copies`) up to its end.
template <class Reader>
void readGlobalRecords(Reader& reader, GlobalRecords& into, const StreamContext& ctx)
{
    while (!reader.atEnd())
        into.records.push_back(readContinued(reader));
    for (const auto& r : into.records)
        if (r.first.type == rt::Sst)
            into.strings = parseSst(r, ctx);
}

// `globals` is the workbook's parsed globals, `records` what
// readGlobalRecords made of them and `sheet` an index into globals.sheets.
// The sheet's substream and those its formulas reach are read through
// `sheets`, one after another.
SheetCopy copySheet(const Globals& globals, const GlobalRecords& records, std::size_t sheet, Substreams& sheets,
                    const CopySource& source, const StreamContext& ctx);

}  // namespace excel::biff
