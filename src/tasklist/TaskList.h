#pragma once
// The task list: one row for each worksheet that a split run is to write
// out, in the order the workbooks were added and, within one, in tab order.
// It is plain data. The window shows it in its list; the command line fills
// one from its arguments; the split run reads it and changes nothing.

#include "ListingReport.h"
#include "TaskRow.h"

#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

namespace excel {
class Application;
class Worksheet;
}

namespace tasklist {

enum class Listing { Added, AlreadyListed, Failed };

// Why a worksheet gets no row, or empty when it gets one.
using SheetFilter = std::function<std::string(const excel::Worksheet&)>;

class TaskList {
public:
    int count() const { return static_cast<int>(rows_.size()); }
    const std::vector<TaskRow>& rows() const { return rows_; }
    // The row at a 1-based position; throws tb::Error 35600 when there is none.
    const TaskRow& row(int index) const;

    // True when a row carries this path, compared with case ignored in every
    // script: the names under which one file is reached on the desktop.
    bool isListed(const std::string& path) const;

    // Opens the workbook and appends one row per worksheet, then closes it
    // without saving. A workbook listed already is left alone, silently. A
    // worksheet whose name holds "?" gets no row. On a failure the report
    // hears of it once, the rows added so far stay, and the workbook is
    // closed.
    Listing addWorkbook(excel::Application& app, const std::string& path, ListingReport& report);

    // Every .xls of the folder, then every .xlsx, each in name order, as
    // addWorkbook adds them; `folder` ends in a separator. Throws tb::Error 76
    // when the folder cannot be read; rows added before stay.
    void addFolder(excel::Application& app, const std::string& folder, ListingReport& report);

    // Leaves out of later listings every worksheet the filter gives a reason
    // for; the report hears of each. The window sets none.
    void setFilter(SheetFilter filter) { filter_ = std::move(filter); }

    // A list of `count` rows from the 1-based position `first` on, for a run
    // over part of this one.
    TaskList slice(int first, int count) const;

    // Takes out the row at a 1-based position; throws 35600 when there is none.
    void remove(int index);
    void clear();

private:
    void append(TaskRow row);

    SheetFilter filter_;
    std::vector<TaskRow> rows_;
    std::unordered_map<std::string, int> rowsByFoldedPath_;  // how many rows carry each folded path
};

}  // namespace tasklist
