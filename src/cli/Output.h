#pragma once
// What the command line shows of a listing and a run: one line per file
// written on standard output, a progress bar on standard error when that is
// a terminal, and each failure on standard error, naming its file.

#include "Outcomes.h"
#include "Progress.h"
#include "RepairReport.h"
#include "split/RunReport.h"
#include "tasklist/ListingReport.h"

#include <chrono>
#include <string>

namespace cli {

// "tamberlin-split: FILE: DESCRIPTION (error N)"
void printError(const std::string& file, const tb::Error& error);

class ListingOutput final : public tasklist::ListingReport {
public:
    ListingOutput(RepairReport& repairs, Outcomes& outcomes) : repairs_(repairs), outcomes_(outcomes) {}
    void sheetLeftOut(const std::string& path, const std::string& sheet) override;
    void sheetSkipped(const std::string& path, const std::string& sheet, const std::string& reason) override
    {
        outcomes_.skipped(path, sheet, reason);
    }
    void notice(const std::string& path, const std::string& text) override;
    void repaired(const std::string& path, const std::string& name, const std::vector<std::string>& repairs) override
    {
        repairs_.report(path, name, repairs);
    }
    void failed(const std::string& path, const tb::Error& error) override;
    bool anyFailed() const { return failed_; }

private:
    RepairReport& repairs_;
    Outcomes& outcomes_;
    bool failed_ = false;
};

class RunOutput final : public split::RunReport {
public:
    // `rows` 0: no progress bar.
    RunOutput(int rows, RepairReport& repairs, Outcomes& outcomes) : progress_(rows), repairs_(repairs), outcomes_(outcomes) {}
    void rowStarting(int index, const tasklist::TaskRow& row) override;
    void rowDone(int index, const tasklist::TaskRow& row, const std::string& written) override;
    void rowFailed(int index, const tasklist::TaskRow& row, const tb::Error& error) override;
    void shortNameFailed(const tasklist::TaskRow& row, const tb::Error& error) override;
    void notice(const std::string& workbook, const std::string& text) override;
    void repaired(const std::string& workbook, const std::string& name, const std::vector<std::string>& repairs) override
    {
        progress_.clear();
        repairs_.report(workbook, name, repairs);
    }
    void failed(const std::string& workbook, const tb::Error& error) override;
    bool anyFailed() const { return failed_; }
    // The 1-based index of the row the run ended at, when it failed.
    int failedIndex() const { return current_; }

private:
    Progress progress_;
    RepairReport& repairs_;
    Outcomes& outcomes_;
    int current_ = 0;
    std::string currentSheet_;
    std::chrono::steady_clock::time_point started_;
    bool failed_ = false;
};

}  // namespace cli
