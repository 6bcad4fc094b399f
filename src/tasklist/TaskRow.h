#pragma once

#include <string>

namespace tasklist {

// One worksheet of one workbook.
struct TaskRow {
    std::string SourceFileName;  // the workbook's path, exactly as it was added
    std::string WorkSheetName;
};

}  // namespace tasklist
