#pragma once
// What listing a workbook tells whoever shows the list: the window (its busy
// pointer, its rows, its message boxes) or the command line (standard error).

#include "TaskRow.h"

#include <string>
#include <vector>

namespace tb {
class Error;
}

namespace tasklist {

class ListingReport {
public:
    virtual ~ListingReport() = default;
    // The workbook is about to be opened; reading it may take a while.
    virtual void opening(const std::string& /*path*/) {}
    // A row was appended at the 1-based position `index`.
    virtual void rowAdded(int /*index*/, const TaskRow& /*row*/) {}
    // A worksheet got no row because its name holds "?".
    virtual void sheetLeftOut(const std::string& /*path*/, const std::string& /*sheet*/) {}
    // A worksheet got no row because the list's filter left it out, for
    // `reason`.
    virtual void sheetSkipped(const std::string& /*path*/, const std::string& /*sheet*/, const std::string& /*reason*/)
    {
    }
    // Something to say about one workbook that is not a failure.
    virtual void notice(const std::string& /*path*/, const std::string& /*text*/) {}
    // The workbook at `path`, file name `name`, was damaged and read all the
    // same; each of `repairs` says how (told at every opening).
    virtual void repaired(const std::string& /*path*/, const std::string& /*name*/,
                          const std::vector<std::string>& /*repairs*/)
    {
    }
    // The workbook could not be opened or read. Called while it is still
    // open, before it is closed.
    virtual void failed(const std::string& path, const tb::Error& error) = 0;
};

}  // namespace tasklist
