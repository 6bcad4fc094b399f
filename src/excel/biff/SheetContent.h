#pragma once

#include "Substreams.h"

namespace excel::biff {

// Whether a record of a sheet substream is something a user would miss: a
// cell with a value or a formula (of any BIFF version), a merged range, a
// drawing object (pictures, charts, shapes, comments). Formatted blank cells
// do not count, nor the empty drawing record LibreOffice writes on every
// sheet.
bool isContentRecord(const Record& r);

// Whether the sheet whose BOF stands at `start` holds such a record, up to
// its EOF.
bool sheetHasContent(Substreams& sheets, std::size_t start, const StreamContext& ctx);

// The same for a stream held whole.
bool sheetHasContent(Bytes stream, std::size_t start, const StreamContext& ctx);

}  // namespace excel::biff
