#pragma once
// The copy that stands alone: in a worksheet part, the formulas that reach
// outside the sheet become the values they last computed (typed: number,
// text, boolean, error), and the validations and conditional formats that
// reach outside go. A formula without a value (its writer computed none)
// stays; a shared formula's cells go or stay together.

#include "OutsideReach.h"
#include "excel/Document.h"

#include <pugixml.hpp>

#include <set>
#include <string>

namespace excel::ooxml {

// Counts what it changed into `report`; the names the changed formulas,
// validations and formats used go into `names` (folded).
void keepValuesOnly(pugi::xml_node worksheet, OutsideReach& reach, ValuesReport& report,
                    std::set<std::string>& names);

}  // namespace excel::ooxml
