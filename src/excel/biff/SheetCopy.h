#pragma once
// A one-sheet copy of a BIFF8 workbook, made at record level: the globals
// substream keeps its records (fonts, formats, XF, styles, palette, drawing
// group, calculation settings) with the sheet list, the shared strings, the
// names and the external references cut down to the one sheet; the sheet's
// substream is copied record by record with its stream offsets moved.

#include "Globals.h"
#include "Records.h"
#include "Sst.h"
#include "Substreams.h"
#include "excel/Document.h"

#include <cstdint>
#include <set>
#include <vector>

namespace excel::biff {

struct SheetCopy {
    std::vector<std::byte> stream;        // the new Workbook stream
    std::set<std::uint32_t> embeddings;   // ObjectPool storages the sheet's OLE objects use ("_<n>")
};

// What every copy of one workbook reads alike, read once: the globals
// substream's records (spans into the stream, which must outlive them) and
// the shared strings.
struct GlobalRecords {
    std::vector<ContinuedRecord> records;
    SstTable strings;
};
GlobalRecords readGlobalRecords(Bytes stream, const Globals& globals, const StreamContext& ctx);

// `head` holds the Workbook stream from its start to the end of the globals
// at least, `globals` its parsed globals, `records` what readGlobalRecords
// made of them and `sheet` an index into globals.sheets. The sheet's own
// substream is read through `own`, those its formulas reach through
// `reached`: both are read at once.
SheetCopy copySheet(Bytes head, const Globals& globals, const GlobalRecords& records, std::size_t sheet,
                    Substreams& own, Substreams& reached, const CopySource& source, const StreamContext& ctx);

}  // namespace excel::biff
