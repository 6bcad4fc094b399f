#pragma once
// The copy that stands alone, for a BIFF8 sheet: formulas that reach outside
// the sheet become NUMBER, LABEL or BOOLERR records holding the value they
// last computed, their shared and array formula records go with them, and
// validations (DV) and conditional formats (CF) that reach outside go. Records
// change size, so the row index (INDEX, DBCELL) is worked out anew.

#include "Records.h"
#include "excel/Document.h"

#include <cstdint>
#include <functional>
#include <map>
#include <vector>

namespace excel::biff {

// Whether a formula reaches outside the copied sheet.
class BiffReach {
public:
    // Where an XTI leads: the copied sheet or this workbook's names, an
    // add-in's functions, or another sheet or workbook.
    enum class Book { Own, AddIn, Outside };
    // `names`: every NAME record's formula by its 1-based index ([0] unused).
    BiffReach(std::function<Book(std::uint16_t ixti)> bookOf, std::vector<Bytes> names);
    bool formula(Bytes rgce);
    bool name(std::uint16_t index);

private:
    std::function<Book(std::uint16_t)> bookOf_;
    std::vector<Bytes> names_;
    std::map<std::uint16_t, bool> known_;  // false while one is being worked out
};

// `sheet`: the sheet's substream as it stood at `start` in the source's
// stream; the INDEX and DBCELL of the result are in that frame too.
// `outside(record)`: whether a formula of a cell, shared or array formula,
// DV or CF record reaches outside. Counts into `report`.
std::vector<std::byte> valuesOnlySheet(Bytes sheet, std::size_t start,
                                       const std::function<bool(const Record&)>& outside, ValuesReport& report,
                                       const StreamContext& ctx);

}  // namespace excel::biff
