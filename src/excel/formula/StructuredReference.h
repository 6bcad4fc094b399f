#pragma once
// The cells a structured reference stands for [ECMA-376 Part 1, 18.17.6.4]:
// "Sales[Amount]" is the data rows of the column Amount, "Sales[#All]" the
// whole table, "Sales[[#Headers],[A]:[C]]" the header cells of three
// columns, "Sales[@Amount]" the cell of Amount in the formula's own row.

#include "CellRange.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace excel::formula {

struct TableShape {
    CellRange ref;                     // the whole table, headers and totals included
    std::uint32_t headerRows = 1;      // 0 or 1
    std::uint32_t totalsRows = 0;      // 0 or 1
    std::vector<std::string> columns;  // names, left to right
};

struct TableArea {
    CellRange cells;
    bool thisRow = false;  // the row is the formula's own: relative, as it moves with the formula
};

// `selector` is the bracket group after the table name ("[Amount]",
// "[[#Headers],[Amount]]", "[]"). `row` is the 1-based row of the formula's
// cell, 0 when it has none (a defined name); a "this row" reference then has
// no answer. nullopt for what the table does not hold (an unknown column,
// headers of a table without them) or text that is not a structured
// reference.
std::optional<TableArea> resolveStructured(std::string_view selector, const TableShape& table, std::uint32_t row);

// "$B$2:$B$9", "$B$2" for one cell, "$B5:$D5" for a row of the formula's own.
std::string areaText(const TableArea& area);

}  // namespace excel::formula
