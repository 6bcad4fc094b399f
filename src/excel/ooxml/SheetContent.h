#pragma once

#include "SourcePackage.h"

namespace excel::ooxml {

// Whether the worksheet holds anything a user would miss: a cell with a
// value or a formula, a merged range, a drawing (pictures, charts, shapes),
// VML shapes or comments. Formatted empty cells and settings do not count.
bool worksheetHasContent(const SourcePackage& pkg, const SheetEntry& sheet);

}  // namespace excel::ooxml
