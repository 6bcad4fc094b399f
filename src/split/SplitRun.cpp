#include "SplitRun.h"

#include "FolderOps.h"
#include "OutputNaming.h"
#include "ValuesNote.h"
#include "excel/Application.h"
#include "excel/Workbook.h"
#include "tasklist/TaskList.h"

namespace split {

namespace {

std::shared_ptr<excel::Workbook> active(const excel::Application& app)
{
    auto book = app.ActiveWorkbook();
    if (!book)
        throw tb::Error(tb::err::ObjectNotSet, "Object variable not set: the engine has no active workbook.");
    return book;
}

// Makes the row's workbook the active one: opened when none is open, and
// reopened when another one is active, which is closed unsaved.
void activate(excel::Application& app, const std::string& source)
{
    if (app.GetWorkbooks().Count() == 0)
        app.GetWorkbooks().Open(source);
    if (active(app)->FullName() != source) {
        active(app)->Close(false);
        app.GetWorkbooks().Open(source);
    }
}

std::string folderFor(const excel::Application& app, const tasklist::TaskRow& row, const RunOptions& options,
                      RunReport& report)
{
    std::string shortName;
    try {
        shortName = GetWorkbookShortName(active(app)->Name());
    } catch (const tb::Error& e) {
        report.shortNameFailed(row, e);
    }
    const std::string folder = perWorkbookFolder(options.chosenFolder, shortName);
    if (!FolderExists(folder))
        CreateFolder(folder);
    return folder;
}

// Copies the row's worksheet into a workbook of its own, saves it and
// closes it; the source is active again. Answers the file written.
std::string writeSheet(excel::Application& app, const tasklist::TaskRow& row, const std::string& folder,
                       RunReport& report)
{
    active(app)->Worksheets().Item(row.WorkSheetName).Copy();
    // A copy that keeps values only says what it turned into values and dropped.
    if (const auto note = valuesNote(active(app)->document().valuesReport()); !note.empty())
        report.notice(row.SourceFileName, row.WorkSheetName + ": " + note);
    active(app)->SaveAs(sheetFileName(folder, row.WorkSheetName, row.SourceFileName), 1);
    std::string written = active(app)->FullName();
    active(app)->Close(false);
    return written;
}

}  // namespace

RunResult run(excel::Application& app, const tasklist::TaskList& rows, const RunOptions& options, RunReport& report)
{
    RunResult result;
    const int last = rows.count();
    std::string source;
    try {
        for (int index = 1; index <= last; ++index) {
            const tasklist::TaskRow& row = rows.row(index);
            source = row.SourceFileName;
            report.rowStarting(index, row);
            activate(app, row.SourceFileName);
            const std::string folder = folderFor(app, row, options, report);
            const std::string written = writeSheet(app, row, folder, report);
            // A copy may find damage that opening did not.
            if (const auto repairs = active(app)->repairs(); !repairs.empty())
                report.repaired(row.SourceFileName, active(app)->Name(), repairs);
            result.rowsDone = index;
            report.rowDone(index, row, written);
        }
        source.clear();
        if (app.GetWorkbooks().Count() != 0)
            app.GetWorkbooks().Close();
    } catch (...) {
        result.failure = tb::errorOf(std::current_exception());
        result.failedWorkbook = source;
        report.failed(source, *result.failure);
    }
    return result;
}

}  // namespace split
