#pragma once
// What a split run tells whoever shows it: the window (progress bar, row
// marking, message boxes) or the command line (lines on standard output, a
// progress bar on a terminal, messages on standard error).

#include "tasklist/TaskRow.h"

#include <string>
#include <vector>

namespace tb {
class Error;
}

namespace split {

class RunReport {
public:
    virtual ~RunReport() = default;
    // The row at the 1-based position `index` is about to be worked.
    virtual void rowStarting(int /*index*/, const tasklist::TaskRow& /*row*/) {}
    // The row's worksheet is written, as the file `written`.
    virtual void rowDone(int index, const tasklist::TaskRow& row, const std::string& written) = 0;
    // The row was refused by the run's naming options and not written; the
    // run goes on. Only runs given such options hear of this.
    virtual void rowFailed(int /*index*/, const tasklist::TaskRow& /*row*/, const tb::Error& /*error*/) {}
    // The row's workbook gave no short name; its files go to the chosen
    // folder itself, and the run goes on.
    virtual void shortNameFailed(const tasklist::TaskRow& row, const tb::Error& error) = 0;
    // Something to say about one workbook that is not a failure.
    virtual void notice(const std::string& /*workbook*/, const std::string& /*text*/) {}
    // As ListingReport::repaired, for what copies of the workbook found.
    virtual void repaired(const std::string& /*workbook*/, const std::string& /*name*/,
                          const std::vector<std::string>& /*repairs*/)
    {
    }
    // The failure that ended the run, at a row of `workbook` (empty when it
    // came after the last row, closing the engine's workbooks).
    virtual void failed(const std::string& workbook, const tb::Error& error) = 0;
};

}  // namespace split
