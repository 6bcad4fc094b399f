#include "SplitRun.h"

#include "FolderOps.h"
#include "OutputNaming.h"
#include "ValuesNote.h"
#include "excel/Application.h"
#include "excel/Workbook.h"
#include "platform/sys/PathRules.h"
#include "tasklist/TaskList.h"

#include <filesystem>

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

// A row the naming options refuse: it fails alone.
struct RowRefused {
    tb::Error error;
};

// Makes the folders of `relative` (a path under the chosen folder) that are
// missing, one level at a time; answers the file's full path.
std::string underChosenFolder(const std::string& chosenFolder, const std::string& relative)
{
    std::string path = tb::fs::withTrailingSeparator(chosenFolder);
    for (std::size_t start = 0;;) {
        const auto slash = relative.find('/', start);
        if (slash == std::string::npos)
            return path + relative.substr(start);
        path += relative.substr(start, slash - start) + "/";
        if (!FolderExists(path)) {
            try {
                CreateFolder(path);
            } catch (const tb::Error&) {
                if (!FolderExists(path))  // made meanwhile by a run beside this one
                    throw;
            }
        }
        start = slash + 1;
    }
}

// The file the row's copy is saved as: the window's folder and name, or the
// options' own.
std::string fileFor(const excel::Application& app, int index, const tasklist::TaskRow& row, const RunOptions& options,
                    RunReport& report)
{
    std::string file;
    if (!options.fileFor) {
        file = sheetFileName(folderFor(app, row, options, report), row.WorkSheetName, row.SourceFileName);
    } else {
        try {
            file = options.fileFor(index, row);
        } catch (const tb::Error& e) {
            throw RowRefused{e};
        }
        file = underChosenFolder(options.chosenFolder, file);
    }
    if (options.keepExisting) {
        // SaveAs trims the name's end; the file it would replace is that one.
        const std::filesystem::path raw(file);
        const auto onDisk = raw.parent_path() / tb::fs::trimComponent(raw.filename().string());
        std::error_code ec;
        if (std::filesystem::exists(onDisk, ec))
            throw RowRefused{tb::Error(58, "The file '" + onDisk.string() + "' already exists and is not replaced.")};
    }
    return file;
}

// Copies the row's worksheet into a workbook of its own, saves it as `file`
// and closes it; the source is active again. Answers the file written.
std::string writeSheet(excel::Application& app, const tasklist::TaskRow& row, const std::string& file,
                       RunReport& report)
{
    active(app)->Worksheets().Item(row.WorkSheetName).Copy();
    // A copy that keeps values only says what it turned into values and dropped.
    if (const auto note = valuesNote(active(app)->document().valuesReport()); !note.empty())
        report.notice(row.SourceFileName, row.WorkSheetName + ": " + note);
    active(app)->SaveAs(file, 1);
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
            std::string file;
            try {
                file = fileFor(app, index, row, options, report);
            } catch (const RowRefused& refused) {
                report.rowFailed(index, row, refused.error);
                continue;
            }
            const std::string written = writeSheet(app, row, file, report);
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
