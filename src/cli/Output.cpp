#include "Output.h"

#include "platform/sys/Error.h"

#include <cstdio>

namespace cli {

void printError(const std::string& file, const tb::Error& error)
{
    std::fprintf(stderr, "tamberlin-split: %s: %s (error %d)\n", file.c_str(), error.description().c_str(),
                 error.number());
}

void ListingOutput::sheetLeftOut(const std::string& path, const std::string& sheet)
{
    std::fprintf(stderr, "tamberlin-split: %s: the worksheet '%s' is left out: its name holds \"?\".\n", path.c_str(),
                 sheet.c_str());
    outcomes_.skipped(path, sheet, "its name holds \"?\"");
}

void ListingOutput::notice(const std::string& path, const std::string& text)
{
    std::fprintf(stderr, "%s: %s\n", path.c_str(), text.c_str());
}

void ListingOutput::failed(const std::string& path, const tb::Error& error)
{
    printError(path, error);
    outcomes_.failed(path, {}, error.description());
    failed_ = true;
}

void RunOutput::rowStarting(int index, const tasklist::TaskRow& row)
{
    current_ = index;
    currentSheet_ = row.WorkSheetName;
    started_ = std::chrono::steady_clock::now();
    progress_.show(index - 1, row.WorkSheetName);
}

void RunOutput::rowDone(int, const tasklist::TaskRow& row, const std::string& written)
{
    progress_.clear();
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - started_);
    outcomes_.written(row.SourceFileName, row.WorkSheetName, written, static_cast<std::uint64_t>(ms.count()));
}

void RunOutput::rowFailed(int, const tasklist::TaskRow& row, const tb::Error& error)
{
    progress_.clear();
    printError(row.SourceFileName, error);
    outcomes_.failed(row.SourceFileName, row.WorkSheetName, error.description());
    failed_ = true;
}

void RunOutput::shortNameFailed(const tasklist::TaskRow& row, const tb::Error& error)
{
    // As in the window: reported, and the run goes on with no short name.
    progress_.clear();
    printError(row.SourceFileName, error);
    outcomes_.failed(row.SourceFileName, {}, error.description());
    failed_ = true;
}

void RunOutput::notice(const std::string& workbook, const std::string& text)
{
    progress_.clear();
    std::fprintf(stderr, "%s: %s\n", workbook.c_str(), text.c_str());
}

void RunOutput::failed(const std::string& workbook, const tb::Error& error)
{
    progress_.clear();
    printError(workbook, error);
    outcomes_.failed(workbook, workbook.empty() ? std::string() : currentSheet_, error.description());
    failed_ = true;
}

}  // namespace cli
