#pragma once

#include "CommandLine.h"

namespace cli {

// Lists the workbooks and folders, then splits them (or prints the list, or
// with --dry-run what a split would write). Returns the process's exit
// status: 0 when every selected sheet was written, 1 when something failed.
int run(const Options& options);

}  // namespace cli
