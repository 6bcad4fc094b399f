#include "SheetFilter.h"

#include "excel/Worksheet.h"

namespace cli {

tasklist::SheetFilter sheetFilter(const Options& options)
{
    const bool patterns = !options.sheets.include.empty() || !options.sheets.exclude.empty();
    if (!patterns && !options.skipHidden && !options.skipEmpty)
        return {};
    return [selection = options.sheets, hidden = options.skipHidden, empty = options.skipEmpty](
               const excel::Worksheet& sheet) -> std::string {
        if (const std::string by = selection.excludedBy(sheet.Name()); !by.empty())
            return by.rfind("--sheet ", 0) == 0 ? "does not match " + by : "matches " + by;
        if (hidden && sheet.Visible() != excel::SheetVisibility::Visible)
            return sheet.Visible() == excel::SheetVisibility::Hidden ? "hidden (--skip-hidden)"
                                                                     : "very hidden (--skip-hidden)";
        if (empty && !sheet.HasContent())
            return "empty (--skip-empty)";
        return {};
    };
}

}  // namespace cli
