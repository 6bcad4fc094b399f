#include "OutsideReach.h"

#include "ReferenceExternalizer.h"
#include "excel/formula/CellRange.h"
#include "excel/formula/Tokenizer.h"

namespace excel::ooxml {

using formula::TokenKind;

OutsideReach::OutsideReach(const std::vector<std::string>& sheetNames, const std::string& ownSheet,
                           const std::set<std::string>& ownTables, const std::vector<DefinedNameText>& names)
    : own_(foldName(ownSheet))
{
    for (const auto& s : sheetNames)
        if (foldName(s) != own_)
            otherSheets_.insert(foldName(s));
    for (const auto& t : ownTables)
        ownTables_.insert(foldName(t));
    for (const auto& n : names)
        if (!n.ownSheet)
            formulas_[foldName(n.name)] = n.formula;
    for (const auto& n : names)
        if (n.ownSheet)
            formulas_[foldName(n.name)] = n.formula;
}

bool OutsideReach::name(const std::string& folded)
{
    const auto it = formulas_.find(folded);
    if (it == formulas_.end())
        return false;
    if (const auto k = known_.find(folded); k != known_.end())
        return k->second;
    known_[folded] = false;  // a name that reaches itself reaches nothing more
    const bool out = formula(it->second);
    known_[folded] = out;
    return out;
}

bool OutsideReach::formula(const std::string& text, std::set<std::string>* used)
{
    bool out = false;
    for (const auto& t : formula::tokenize(text)) {
        if (t.kind != TokenKind::Reference)
            continue;
        if (!t.hasPrefix) {
            if (t.structured) {
                out = out || (!t.table.empty() && !ownTables_.count(foldName(t.table)));
            } else if (!formula::parseRange(t.local)) {
                const std::string n = foldName(t.local);
                if (used)
                    used->insert(n);
                out = name(n) || out;
            }
            continue;
        }
        if (!t.book.empty()) {
            if (t.book == "0" && t.sheet.empty()) {  // "[0]!Name": this workbook's
                if (used)
                    used->insert(foldName(t.local));
                out = name(foldName(t.local)) || out;
            } else {
                out = true;
            }
            continue;
        }
        if (!t.lastSheet.empty() || foldName(t.sheet) != own_)
            out = true;
        else if (!formula::parseRange(t.local) && t.local.find('#') != 0)  // "Own!Name"
            out = name(foldName(t.local)) || out;
    }
    return out;
}

}  // namespace excel::ooxml
