#include "SplitRun.h"

#include "PasswordFile.h"
#include "PasswordPrompt.h"
#include "Progress.h"
#include "excel/Application.h"
#include "excel/Workbook.h"
#include "excel/Worksheets.h"
#include "platform/sys/AsciiCase.h"
#include "platform/sys/Error.h"
#include "platform/sys/PathRules.h"
#include "split/OutputNaming.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sys/stat.h>
#include <unordered_set>

namespace cli {

namespace {

struct Row {
    std::string sourceFileName;  // full path, as the run compares it with FullName
    std::string workSheetName;
};

// The question before replacing a file, put on the terminal.
class TerminalPrompter final : public excel::AlertPrompter {
public:
    bool askYesNo(const std::string& text) override
    {
        std::ifstream tty("/dev/tty");
        if (!tty)
            return false;
        std::fprintf(stderr, "%s [y/N] ", text.c_str());
        std::fflush(stderr);
        std::string answer;
        std::getline(tty, answer);
        return !answer.empty() && (answer[0] == 'y' || answer[0] == 'Y');
    }
};

void report(const tb::Error& e, const std::string& file)
{
    std::fprintf(stderr, "tamberlin-split: %s: %s (error %d)\n", file.c_str(), e.description().c_str(), e.number());
}

std::string fullPath(const std::string& p)
{
    std::error_code ec;
    auto abs = std::filesystem::absolute(p, ec);
    return (ec ? std::filesystem::path(p) : abs).lexically_normal().string();
}

// The folder as it stands on disk: every part trimmed of trailing periods
// and blanks, as the file system layer writes it.
std::filesystem::path onDisk(const std::string& folder) { return tb::fs::windowsNormalized(folder); }

bool folderExists(const std::string& folder)
{
    struct stat st {};
    return ::stat(onDisk(folder).c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

void createFolder(const std::string& folder)
{
    const auto path = onDisk(folder);
    for (const auto& part : path) {
        if (part == "..")
            throw tb::Error(tb::err::PathFileAccess,
                            "Cannot make the folder '" + folder + "': its name would leave the output folder.");
    }
    if (::mkdir(path.c_str(), 0777) != 0)
        throw tb::fileError(errno, "Cannot make the folder", folder);
}

// The task list, as listing each workbook in turn builds it.
bool listWorkbooks(excel::Application& app, const std::vector<std::string>& paths, std::vector<Row>& rows)
{
    bool ok = true;
    std::unordered_set<std::string> listed;  // paths folded: Windows names a file whichever case it is spelled in
    for (const auto& r : rows)
        listed.insert(tb::foldAscii(r.sourceFileName));
    for (const auto& given : paths) {
        const std::string path = fullPath(given);
        if (!listed.insert(tb::foldAscii(path)).second)
            continue;
        std::shared_ptr<excel::Workbook> book;
        try {
            book = app.GetWorkbooks().Open(path);
            for (const auto& sheet : book->Worksheets().all())
                rows.push_back({path, sheet.Name()});
            book->Close(false);
        } catch (const tb::Error& e) {
            report(e, path);
            ok = false;
            if (book && book->isOpen())
                book->Close(false);
        }
    }
    return ok;
}

}  // namespace

int run(const Options& options)
{
    std::vector<std::string> passwords;
    try {
        if (!options.passwordFile.empty())
            passwords = readPasswordFile(options.passwordFile);
    } catch (const tb::Error& e) {
        std::fprintf(stderr, "tamberlin-split: %s\n", e.description().c_str());
        return 2;
    }
    PasswordPrompt passwordPrompt(std::move(passwords), !options.passwordFile.empty());
    excel::Application app;
    TerminalPrompter prompter;
    app.setPrompter(&prompter);
    app.setPasswordPrompter(&passwordPrompt);
    app.setVisible(false);
    app.setDisplayAlerts(options.ask);
    app.setScreenUpdating(true);
    app.setAskToUpdateLinks(false);

    std::vector<Row> rows;
    bool ok = listWorkbooks(app, options.workbooks, rows);

    if (options.list) {
        for (const auto& r : rows)
            std::printf("%s\t%s\n", r.sourceFileName.c_str(), r.workSheetName.c_str());
        return ok ? 0 : 1;
    }

    const std::string chosen = fullPath(options.outputFolder);
    if (!folderExists(chosen)) {
        std::fprintf(stderr, "tamberlin-split: the output folder '%s' does not exist.\n", chosen.c_str());
        return 2;
    }

    Progress progress(static_cast<int>(rows.size()));
    app.setEnableEvents(false);
    auto& books = app.GetWorkbooks();
    std::size_t done = 0;
    std::string current;
    try {
        for (const auto& row : rows) {
            current = row.sourceFileName;
            progress.show(static_cast<int>(done), row.workSheetName);
            if (books.Count() == 0)
                books.Open(row.sourceFileName);
            if (app.ActiveWorkbook()->FullName() != row.sourceFileName) {
                app.ActiveWorkbook()->Close(false);
                books.Open(row.sourceFileName);
            }
            std::string shortName;
            try {
                shortName = split::GetWorkbookShortName(app.ActiveWorkbook()->Name());
            } catch (const tb::Error& e) {
                // As the window's run: reported, then the run goes on with no short name.
                progress.clear();
                report(e, row.sourceFileName);
                ok = false;
            }
            const std::string folder = split::perWorkbookFolder(chosen, shortName);
            if (!folderExists(folder))
                createFolder(folder);
            const std::string& sheetName = row.workSheetName;
            app.ActiveWorkbook()->Worksheets().Item(sheetName).Copy();
            app.ActiveWorkbook()->SaveAs(split::sheetFileName(folder, sheetName, row.sourceFileName), 1);
            const std::string written = app.ActiveWorkbook()->FullName();
            app.ActiveWorkbook()->Close(false);
            ++done;
            progress.clear();
            std::printf("%s\n", written.c_str());
            std::fflush(stdout);
        }
        if (books.Count() != 0)
            books.Close();
        app.setEnableEvents(true);
    } catch (const tb::Error& e) {
        progress.clear();
        report(e, current);
        ok = false;
    }
    progress.clear();
    if (done != rows.size()) {
        std::fprintf(stderr, "tamberlin-split: %zu of %zu worksheets written.\n", done, rows.size());
        ok = false;
    }
    return ok ? 0 : 1;
}

}  // namespace cli
