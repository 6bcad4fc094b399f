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

// In a chart part: series that read outside the sheet keep the values
// cached with them as literal data (numLit, strLit, a series name's v).
// References with nowhere to put their values (titles, multi-level
// categories) stay. True when it changed anything.
bool chartValuesOnly(pugi::xml_node chart, OutsideReach& reach, ValuesReport& report, std::set<std::string>& names);

}  // namespace excel::ooxml
