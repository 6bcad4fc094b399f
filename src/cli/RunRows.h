#pragma once
// The pieces of one command-line run that a parallel run repeats in each of
// its processes: setting up the engine, and splitting a part of the list.

#include "CommandLine.h"
#include "Outcomes.h"
#include "RepairReport.h"
#include "RowNames.h"
#include "split/SplitRun.h"
#include "tasklist/TaskList.h"

#include <vector>

namespace excel {
class AlertPrompter;
class PasswordPrompter;
}

namespace cli {

void configure(excel::Application& app, const Options& options, excel::AlertPrompter& prompter,
               excel::PasswordPrompter& passwords);

// Splits `rows`, named by `names` (one a row, or none for the window's rule).
// After a failure that ends a run, the failed workbook's remaining rows are
// not written and the run goes on with the next workbook's.
void runRows(excel::Application& app, const tasklist::TaskList& rows, const split::RunOptions& options,
             const std::vector<RowName>& names, RepairReport& repairs, Outcomes& outcomes, bool progress);

}  // namespace cli
