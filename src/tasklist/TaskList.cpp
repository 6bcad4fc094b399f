#include "TaskList.h"

#include "FolderScan.h"
#include "excel/Application.h"
#include "excel/Workbook.h"
#include "platform/sys/Error.h"
#include "platform/sys/UnicodeCase.h"

namespace tasklist {

namespace {

void requireRow(int index, int count)
{
    if (index < 1 || index > count)
        throw tb::Error(35600, "Index out of bounds: the list has no row " + std::to_string(index) + ".");
}

// Copies of .xls sources are .xls; OOXML copies never keep macros, so an
// .xlsm source gives .xlsx copies.
std::string copyExtension(const excel::Document& source)
{
    return source.fileExtension() == "xls" ? "xls" : "xlsx";
}

}  // namespace

const TaskRow& TaskList::row(int index) const
{
    requireRow(index, count());
    return rows_[static_cast<std::size_t>(index - 1)];
}

bool TaskList::isListed(const std::string& path) const
{
    return rowsByFoldedPath_.count(tb::foldCase(path)) != 0;
}

void TaskList::append(TaskRow row)
{
    ++rowsByFoldedPath_[tb::foldCase(row.SourceFileName)];
    rows_.push_back(std::move(row));
}

Listing TaskList::addWorkbook(excel::Application& app, const std::string& path, ListingReport& report)
{
    // Every row of a listed workbook carries its path: one hit refuses it whole.
    if (isListed(path))
        return Listing::AlreadyListed;
    report.opening(path);
    std::shared_ptr<excel::Workbook> book;
    try {
        book = app.GetWorkbooks().Open(path);
        if (const auto repairs = book->repairs(); !repairs.empty())
            report.repaired(path, book->Name(), repairs);
        const std::string extension = copyExtension(book->document());
        int position = 0;
        for (const excel::Worksheet& sheet : book->Worksheets().all()) {
            ++position;
            std::string name = sheet.Name();
            // A name that a list of narrower characters would give back with
            // "?" is left out; Excel itself refuses "?" in a sheet name.
            if (name.find('?') != std::string::npos) {
                report.sheetLeftOut(path, name);
                continue;
            }
            if (filter_) {
                if (const std::string reason = filter_(sheet); !reason.empty()) {
                    report.sheetSkipped(path, name, reason);
                    continue;
                }
            }
            append({path, std::move(name), position, extension});
            report.rowAdded(count(), rows_.back());
        }
        book->Close(false);
        return Listing::Added;
    } catch (...) {
        report.failed(path, tb::errorOf(std::current_exception()));
        if (book && book->isOpen()) {
            try {
                book->Close(false);
            } catch (...) {
                // The engine shut down under it: nothing is left open.
            }
        }
        return Listing::Failed;
    }
}

void TaskList::addFolder(excel::Application& app, const std::string& folder, ListingReport& report)
{
    for (const char* extension : {".xls", ".xlsx"}) {
        for (const std::string& name : scanFolder(folder, extension))
            addWorkbook(app, folder + name, report);
    }
}

TaskList TaskList::slice(int first, int count) const
{
    TaskList part;
    for (int i = first; i < first + count; ++i)
        part.append(row(i));
    return part;
}

void TaskList::remove(int index)
{
    requireRow(index, count());
    const auto at = rows_.begin() + (index - 1);
    const auto folded = rowsByFoldedPath_.find(tb::foldCase(at->SourceFileName));
    if (--folded->second == 0)
        rowsByFoldedPath_.erase(folded);
    rows_.erase(at);
}

void TaskList::clear()
{
    rows_.clear();
    rowsByFoldedPath_.clear();
}

}  // namespace tasklist
