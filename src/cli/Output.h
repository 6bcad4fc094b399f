#pragma once
// What the command line shows of a listing and a run: one line per file
// written on standard output, a progress bar on standard error when that is
// a terminal, and each failure on standard error, naming its file.

#include "Progress.h"
#include "RepairReport.h"
#include "split/RunReport.h"
#include "tasklist/ListingReport.h"

#include <string>

namespace cli {

// "tamberlin-split: FILE: DESCRIPTION (error N)"
void printError(const std::string& file, const tb::Error& error);

class ListingOutput final : public tasklist::ListingReport {
public:
    explicit ListingOutput(RepairReport& repairs) : repairs_(repairs) {}
    void sheetLeftOut(const std::string& path, const std::string& sheet) override;
    void notice(const std::string& path, const std::string& text) override;
    void repaired(const std::string& path, const std::string& name, const std::vector<std::string>& repairs) override
    {
        repairs_.report(path, name, repairs);
    }
    void failed(const std::string& path, const tb::Error& error) override;
    bool anyFailed() const { return failed_; }

private:
    RepairReport& repairs_;
    bool failed_ = false;
};

class RunOutput final : public split::RunReport {
public:
    RunOutput(int rows, RepairReport& repairs) : progress_(rows), repairs_(repairs) {}
    void rowStarting(int index, const tasklist::TaskRow& row) override;
    void rowDone(int index, const tasklist::TaskRow& row, const std::string& written) override;
    void shortNameFailed(const tasklist::TaskRow& row, const tb::Error& error) override;
    void notice(const std::string& workbook, const std::string& text) override;
    void repaired(const std::string& workbook, const std::string& name, const std::vector<std::string>& repairs) override
    {
        progress_.clear();
        repairs_.report(workbook, name, repairs);
    }
    void failed(const std::string& workbook, const tb::Error& error) override;
    bool anyFailed() const { return failed_; }

private:
    Progress progress_;
    RepairReport& repairs_;
    bool failed_ = false;
};

}  // namespace cli
