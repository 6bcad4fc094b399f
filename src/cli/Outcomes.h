#pragma once
// What became of each sheet, told as it happens: plain lines (the path of
// each file written) or, with --json, one JSON object a line, and at the end
// the summary and the exit status.

#include "JsonLines.h"

#include <string>

namespace cli {

class Outcomes {
public:
    Outcomes(bool json, bool dryRun) : json_(json), dryRun_(dryRun) {}

    // The file was written in `ms` milliseconds (or would be, in a dry run).
    void written(const std::string& source, const std::string& sheet, const std::string& output, std::uint64_t ms);
    void skipped(const std::string& source, const std::string& sheet, const std::string& reason);
    // `sheet` empty: the workbook (or folder) as a whole failed.
    void failed(const std::string& source, const std::string& sheet, const std::string& reason);

    // The counts so far, and counts of a part of the run done elsewhere.
    const SummaryLine& counts() const { return summary_; }
    void add(const SummaryLine& part);

    bool anyFailed() const { return summary_.failed + summary_.workbooksFailed > 0; }
    int writtenCount() const { return summary_.written; }
    int exitStatus() const { return anyFailed() ? 1 : 0; }
    // The --json summary line; nothing in plain mode.
    void finish(std::uint64_t ms);

private:
    void emit(const SheetLine& line);

    bool json_;
    bool dryRun_;
    SummaryLine summary_;
};

}  // namespace cli
