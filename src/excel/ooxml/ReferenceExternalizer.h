#pragma once
// Rewrites the formulas of a copied sheet so that references to the source's
// other sheets become external references to the source workbook, as Excel's
// own copy writes them: "Sheet2!A1" -> "[n]Sheet2!A1", "'My S'!A1" ->
// "'[n]My S'!A1". A structured reference to a table on another sheet becomes
// the range it stands for, "Sales[Amount]" -> "[n]Sales!$B$2:$B$9", so that
// it computes with the source closed (Excel's own "[n]!Sales[Amount]" does
// not); where the range cannot be told, Excel's form is written. References
// to the copied sheet itself, and to other workbooks, stay as they were. It also
// collects what the copy needs afterwards: the names the formulas use and the
// cells of other sheets they read, whose values go into the external link.

#include "excel/formula/CellRange.h"
#include "excel/formula/StructuredReference.h"

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace excel::ooxml {

struct TableOnSheet;

class ReferenceExternalizer {
public:
    // The table of a (case-folded) name among the source's, or null.
    using TableLookup = std::function<const TableOnSheet*(const std::string& folded)>;

    // `sheetNames`: every sheet of the source, in tab order. `ownSheet`: the
    // copied one. `ownTables`: table names of the copied sheet. `bookIndex`:
    // the n of "[n]" for the link to the source.
    ReferenceExternalizer(std::vector<std::string> sheetNames, std::string ownSheet, std::set<std::string> ownTables,
                          int bookIndex, TableLookup tables = {});

    // The formula rewritten; `changed` tells whether anything was. `row`:
    // the 1-based row of the formula's cell, 0 where it has none.
    std::string rewrite(const std::string& formula, bool& changed, std::uint32_t row = 0);

    // Names (case-folded) used as operands or function names.
    const std::set<std::string>& namesUsed() const { return names_; }
    // Source sheet index -> ranges read on it.
    const std::map<std::size_t, std::vector<formula::CellRange>>& rangesRead() const { return ranges_; }
    bool anyExternalized() const { return externalized_; }
    int bookIndex() const { return bookIndex_; }

private:
    std::ptrdiff_t sheetIndex(const std::string& name) const;
    // The range a structured reference to another sheet's table stands for,
    // with its prefix; empty when it cannot be told.
    std::string tableRange(const std::string& table, const std::string& local, std::uint32_t row);

    std::vector<std::string> sheetNames_;
    std::vector<std::string> foldedSheetNames_;
    std::string ownFolded_;
    std::set<std::string> ownTables_;  // folded
    int bookIndex_;
    TableLookup tables_;
    std::set<std::string> names_;
    std::map<std::size_t, std::vector<formula::CellRange>> ranges_;
    bool externalized_ = false;
};

struct TableOnSheet {
    std::size_t sheet = 0;  // index among the sheet names
    formula::TableShape shape;
};

// Case folding for names as Excel compares them (ASCII letters only; other
// scripts compare exactly).
std::string foldName(const std::string& s);

}  // namespace excel::ooxml
