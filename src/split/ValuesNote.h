#pragma once
// The note a copy made with --values leaves on standard error.

#include "excel/Document.h"

#include <string>

namespace split {

// "3 formulas written as values; 1 name, 2 validations and 1 conditional
// format dropped (they reach outside the sheet)"; empty when nothing changed.
std::string valuesNote(const excel::ValuesReport& report);

}  // namespace split
