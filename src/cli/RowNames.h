#pragma once
// Where each row's copy goes, worked out for every row before anything is
// written: by --name (two rows on one path are both refused), or by the
// window's rule for what --dry-run prints.

#include "platform/sys/Error.h"
#include "tasklist/TaskList.h"

#include <optional>
#include <string>
#include <vector>

namespace cli {

struct RowName {
    std::string path;                 // relative to the output folder
    std::optional<tb::Error> refused;  // why the row is not written
};

// One entry per row, in row order, named by the template `tmpl`.
std::vector<RowName> nameRows(const std::string& tmpl, const tasklist::TaskList& list);

// The folder the window's rule writes the row's file into, with its
// trailing separator.
std::string windowFolder(const std::string& chosenFolder, const tasklist::TaskRow& row);

// The file the window's rule writes the row to under `chosenFolder`, as it
// stands on disk; throws tb::Error as the run would.
std::string windowFile(const std::string& chosenFolder, const tasklist::TaskRow& row);

}  // namespace cli
