#pragma once
// The command line's arguments as task-list rows: a workbook is listed, a
// folder adds its workbooks as the window's folder command does, and with
// `recursive` each subfolder's after its parent's, in name order.

#include "tasklist/TaskList.h"

#include <string>
#include <vector>

namespace cli {

// `given` are made absolute first; a folder that cannot be read is reported
// as a failure of that folder and the others go on.
void addInputs(excel::Application& app, tasklist::TaskList& list, const std::vector<std::string>& given,
               bool recursive, tasklist::ListingReport& report);

std::string fullPath(const std::string& path);

}  // namespace cli
