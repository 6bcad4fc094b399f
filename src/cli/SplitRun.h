#pragma once

#include "CommandLine.h"

namespace cli {

// Lists the workbooks, then splits them (or prints the list). Returns the
// process's exit status: 0 only when every sheet was written and nothing
// failed, 1 when something failed, 2 when the output folder is missing.
int run(const Options& options);

}  // namespace cli
