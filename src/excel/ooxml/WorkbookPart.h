#pragma once
// workbook.xml of a one-sheet copy [ECMA-376 Part 1, 18.2.27]: the one sheet,
// first, visible and active; the sheet's own names re-scoped to it and the
// workbook names its formulas use; the external reference to the source when
// one is needed; nothing that names a relationship the copy lacks.

#include <pugixml.hpp>

#include <cstddef>
#include <functional>
#include <set>
#include <string>

namespace excel::ooxml {

struct WorkbookRewrite {
    std::string sheetRelId;       // r:id of the copied sheet
    std::size_t sheetPosition = 0;  // its place among all sheets, as localSheetId counts
    std::set<std::string> keptRelIds;
    // Rewrites the formula that is the element's text; true when it changed.
    std::function<bool(pugi::xml_node)> rewriteFormula;
    // Whether a (case-folded) name is used by what the copy keeps so far.
    std::function<bool(const std::string&)> nameUsed;
    // Whether a name the copy would keep goes instead (the copy keeps
    // values only and the name reaches outside); may be empty.
    std::function<bool(pugi::xml_node)> dropName;
    // Asked after the names: the relationship id of the link to the source,
    // or empty when no formula reaches another sheet.
    std::function<std::string()> linkRelId;
};

void rewriteWorkbookPart(pugi::xml_document& doc, const WorkbookRewrite& how);

}  // namespace excel::ooxml
