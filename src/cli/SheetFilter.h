#pragma once
// --sheet, --exclude, --skip-hidden and --skip-empty as the task list's
// filter: the reason a sheet gets no row.

#include "CommandLine.h"
#include "tasklist/TaskList.h"

namespace cli {

// Empty when the options select every sheet.
tasklist::SheetFilter sheetFilter(const Options& options);

}  // namespace cli
