#pragma once
// The tables of a source workbook [ECMA-376 Part 1, 18.5], by name: where
// each stands and the shape its structured references are resolved against.
// Read when a copy first meets a reference to a table on another sheet.

#include "ReferenceExternalizer.h"
#include "SourcePackage.h"

#include <map>
#include <string>

namespace excel::ooxml {

// Every table of every worksheet (`sheet` indexes SourcePackage::sheets()), keyed by its name and by its display
// name, folded as Excel compares names. A table part that cannot be read or
// whose range is not a range is left out: its references stay as written.
std::map<std::string, TableOnSheet> readSourceTables(const SourcePackage& src);

}  // namespace excel::ooxml
