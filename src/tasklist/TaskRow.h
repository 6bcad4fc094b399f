#pragma once

#include <string>

namespace tasklist {

// One worksheet of one workbook.
struct TaskRow {
    std::string SourceFileName;  // the workbook's path, exactly as it was added
    std::string WorkSheetName;
    int SheetIndex = 0;         // 1-based position among the workbook's worksheets
    std::string CopyExtension;  // the format its copy is written in: "xls" or "xlsx"
};

}  // namespace tasklist
