#pragma once

#include "Substreams.h"

namespace excel::biff {

// Whether the sheet whose BOF stands at `start` holds anything a user would
// miss: a cell with a value or a formula, a merged range, a drawing object
// (pictures, charts, shapes, comments). Formatted blank cells do not count,
// nor the empty drawing record LibreOffice writes on every sheet.
bool sheetHasContent(Substreams& sheets, std::size_t start, const StreamContext& ctx);

}  // namespace excel::biff
