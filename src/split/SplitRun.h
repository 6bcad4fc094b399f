#pragma once
// The run: every row of the task list becomes a one-sheet workbook file in a
// folder named after its source workbook, under the chosen folder. Both the
// window and the command line run it; each shows it through a RunReport.

#include "RunReport.h"
#include "platform/sys/Error.h"

#include <functional>
#include <optional>
#include <string>

namespace excel {
class Application;
}
namespace tasklist {
class TaskList;
struct TaskRow;
}

namespace split {

struct RunOptions {
    std::string chosenFolder;  // exists; taken byte for byte
    // Names a row's file by a path relative to the chosen folder, whose
    // missing folders the run makes, instead of the window's rule. A
    // tb::Error it throws fails that row alone and the run goes on.
    std::function<std::string(int index, const tasklist::TaskRow&)> fileFor;
    // A row whose file exists already fails alone instead of replacing it.
    bool keepExisting = false;
};

struct RunResult {
    int rowsDone = 0;
    // The failure that ended the run at the row after the last one done;
    // empty when every row was written and the engine's workbooks closed.
    std::optional<tb::Error> failure;
    std::string failedWorkbook;  // the path of that row's workbook
};

// Works the rows from the first to the last. A source workbook stays open
// over its adjacent rows; the run asks the engine for the active workbook
// at every step and holds none. The first failure ends the run: the report
// hears of it, files written before it stay (a row refused by `fileFor` or
// `keepExisting` fails alone), and what is open in the engine
// stays open.
RunResult run(excel::Application& app, const tasklist::TaskList& rows, const RunOptions& options, RunReport& report);

}  // namespace split
