#pragma once
// Whether a formula of the copied sheet reaches outside it: a cell of
// another sheet or of another workbook, a table on another sheet, or a
// defined name that does. A copy that keeps only values writes such formulas
// as what they last computed and leaves out the names, validations and
// conditional formats that do.

#include <map>
#include <set>
#include <string>
#include <vector>

namespace excel::ooxml {

struct DefinedNameText {
    std::string name;
    std::string formula;
    bool ownSheet = false;  // scoped to the copied sheet; other sheets' scoped names are not given
};

class OutsideReach {
public:
    // `sheetNames`: every sheet of the source; `ownTables`: the tables of
    // the copied sheet; `names`: the workbook's names and the sheet's own.
    OutsideReach(const std::vector<std::string>& sheetNames, const std::string& ownSheet,
                 const std::set<std::string>& ownTables, const std::vector<DefinedNameText>& names);

    // Names used on the way are added to `used` (folded) when given.
    bool formula(const std::string& text, std::set<std::string>* used = nullptr);
    // For a (folded) name as the copied sheet sees it: its own scope first.
    bool name(const std::string& folded);

private:
    std::set<std::string> otherSheets_;  // folded
    std::string own_;
    std::set<std::string> ownTables_;
    std::map<std::string, std::string> formulas_;  // folded name -> formula, the sheet's own winning
    std::map<std::string, bool> known_;            // answers so far; false while one is being worked out
};

}  // namespace excel::ooxml
