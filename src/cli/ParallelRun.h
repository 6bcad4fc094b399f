#pragma once
// `-j N`: the run spread over N processes. The workbooks whose files land in
// one folder (and so may replace each other's) stay in one process, in list
// order; each workbook's output is captured and printed in list order, so
// that the tree, the report and the exit status are those of one process.

#include "CommandLine.h"
#include "Outcomes.h"
#include "PasswordPrompt.h"
#include "RepairReport.h"
#include "RowNames.h"
#include "split/SplitRun.h"
#include "tasklist/TaskList.h"

#include <string>
#include <vector>

namespace cli {

// One workbook's stretch of rows: 1-based first row and row count.
struct Segment {
    int first;
    int count;
};

std::vector<Segment> segmentsOf(const tasklist::TaskList& list);

// Indexes into `segments`, grouped: with the window's names, the workbooks
// that share a folder, each group in list order; with a template (whose
// paths never meet) each workbook alone.
std::vector<std::vector<int>> folderGroups(const tasklist::TaskList& list, const std::vector<Segment>& segments,
                                           const std::string& chosenFolder, bool windowNames);

// Must be called with no engine alive in this process: it forks.
// `passwords`: the listing's, whose answers the workers try; they ask none.
void runInParallel(const Options& options, const tasklist::TaskList& list, const split::RunOptions& runOptions,
                   const std::vector<RowName>& names, RepairReport& repairs, Outcomes& outcomes,
                   const PasswordPrompt& passwords);

}  // namespace cli
