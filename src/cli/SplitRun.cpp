#include "SplitRun.h"

#include "Output.h"
#include "PasswordFile.h"
#include "PasswordPrompt.h"
#include "TerminalPrompter.h"
#include "excel/Application.h"
#include "split/FolderOps.h"
#include "split/SplitRun.h"
#include "tasklist/TaskList.h"

#include <cstdio>
#include <filesystem>

namespace cli {

namespace {

std::string fullPath(const std::string& p)
{
    std::error_code ec;
    auto abs = std::filesystem::absolute(p, ec);
    return (ec ? std::filesystem::path(p) : abs).lexically_normal().string();
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
    app.setCopyValuesOnly(options.values);

    tasklist::TaskList list;
    RepairReport repairs;
    ListingOutput listing(repairs);
    for (const auto& given : options.workbooks)
        list.addWorkbook(app, fullPath(given), listing);

    if (options.list) {
        for (const auto& r : list.rows())
            std::printf("%s\t%s\n", r.SourceFileName.c_str(), r.WorkSheetName.c_str());
        return listing.anyFailed() ? 1 : 0;
    }

    const std::string chosen = fullPath(options.outputFolder);
    if (!split::FolderExists(chosen)) {
        std::fprintf(stderr, "tamberlin-split: the output folder '%s' does not exist.\n", chosen.c_str());
        return 2;
    }

    RunOutput output(list.count(), repairs);
    split::RunOptions runOptions;
    runOptions.chosenFolder = chosen;
    app.setEnableEvents(false);
    const split::RunResult result = split::run(app, list, runOptions, output);
    if (!result.failure)
        app.setEnableEvents(true);
    if (result.rowsDone != list.count())
        std::fprintf(stderr, "tamberlin-split: %d of %d worksheets written.\n", result.rowsDone, list.count());
    const bool ok = !listing.anyFailed() && !output.anyFailed() && result.rowsDone == list.count();
    return ok ? 0 : 1;
}

}  // namespace cli
