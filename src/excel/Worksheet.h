#pragma once

#include "Document.h"

#include <cstddef>
#include <memory>
#include <string>

namespace excel {

class Workbook;

class Worksheet {
public:
    Worksheet(std::shared_ptr<Workbook> book, std::size_t index) : book_(std::move(book)), index_(index) {}

    // The name on the sheet's tab.
    std::string Name() const;
    // Visible, hidden or very hidden, as the source's tab has it.
    SheetVisibility Visible() const;
    // False for a sheet with nothing a user would miss: no value, formula,
    // merged range, picture, chart, shape or comment.
    bool HasContent() const;
    // Makes a new, unsaved workbook holding a copy of this sheet alone and
    // makes it the active workbook. The source stays open and unchanged.
    void Copy() const;

private:
    std::shared_ptr<Workbook> book_;
    std::size_t index_;
};

}  // namespace excel
