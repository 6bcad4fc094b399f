#pragma once
// The worksheets of one workbook, in the workbook's own order. Chart sheets
// are not worksheets and are not here.

#include "Worksheet.h"

#include <memory>
#include <string>
#include <vector>

namespace excel {

class Workbook;

class Worksheets {
public:
    explicit Worksheets(std::shared_ptr<Workbook> book) : book_(std::move(book)) {}

    int Count() const;
    // By exact tab name, then by a case-blind match as Excel allows; error 9
    // when the workbook has no such worksheet.
    Worksheet Item(const std::string& name) const;
    // 1-based; error 9 when out of range.
    Worksheet Item(int index) const;
    // Every worksheet from the first to the last.
    std::vector<Worksheet> all() const;

private:
    std::shared_ptr<Workbook> book_;
};

}  // namespace excel
