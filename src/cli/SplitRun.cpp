#include "SplitRun.h"

#include "Inputs.h"
#include "Output.h"
#include "ParallelRun.h"
#include "PasswordFile.h"
#include "PasswordPrompt.h"
#include "RunRows.h"
#include "RowNames.h"
#include "SheetFilter.h"
#include "TerminalPrompter.h"
#include "excel/Application.h"
#include "platform/sys/PathRules.h"
#include "split/FolderOps.h"
#include "split/SplitRun.h"
#include "tasklist/TaskList.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>

namespace cli {

namespace {

// Makes the output folder with its parents when it is missing, saying so
// once. False, reported, when it cannot be made.
bool ensureOutputFolder(const std::string& chosen, bool dryRun)
{
    if (split::FolderExists(chosen))
        return true;
    if (dryRun) {
        std::fprintf(stderr, "tamberlin-split: the output folder '%s' would be made.\n", chosen.c_str());
        return true;
    }
    std::error_code ec;
    std::filesystem::create_directories(chosen, ec);
    if (ec || !split::FolderExists(chosen)) {
        std::fprintf(stderr, "tamberlin-split: cannot make the output folder '%s': %s.\n", chosen.c_str(),
                     ec ? ec.message().c_str() : "a file of that name exists");
        return false;
    }
    std::fprintf(stderr, "tamberlin-split: made the output folder '%s'.\n", chosen.c_str());
    return true;
}

// What a run would write, told without writing.
void dryRun(const tasklist::TaskList& list, const std::string& chosen, const std::vector<RowName>& names,
            bool noClobber, Outcomes& outcomes)
{
    for (int i = 0; i < list.count(); ++i) {
        const tasklist::TaskRow& row = list.rows()[static_cast<std::size_t>(i)];
        try {
            if (!names.empty() && names[static_cast<std::size_t>(i)].refused)
                throw *names[static_cast<std::size_t>(i)].refused;
            const std::string file = names.empty() ? windowFile(chosen, row)
                                                   : tb::fs::withTrailingSeparator(chosen) + names[static_cast<std::size_t>(i)].path;
            std::error_code ec;
            if (noClobber && std::filesystem::exists(file, ec))
                throw tb::Error(58, "The file '" + file + "' already exists and would not be replaced.");
            outcomes.written(row.SourceFileName, row.WorkSheetName, file, 0);
        } catch (const tb::Error& e) {
            printError(row.SourceFileName, e);
            outcomes.failed(row.SourceFileName, row.WorkSheetName, e.description());
        }
    }
}

}  // namespace

int run(const Options& options)
{
    const auto started = std::chrono::steady_clock::now();
    std::vector<std::string> fromFile;
    try {
        if (!options.passwordFile.empty())
            fromFile = readPasswordFile(options.passwordFile);
    } catch (const tb::Error& e) {
        std::fprintf(stderr, "tamberlin-split: %s\n", e.description().c_str());
        return 2;
    }
    PasswordPrompt passwords(std::move(fromFile), !options.passwordFile.empty());
    auto app = std::make_unique<excel::Application>();
    TerminalPrompter prompter;
    configure(*app, options, prompter, passwords);

    tasklist::TaskList list;
    list.setFilter(sheetFilter(options));
    Outcomes outcomes(options.json, options.dryRun);
    RepairReport repairs;
    ListingOutput listing(repairs, outcomes);
    addInputs(*app, list, options.workbooks, options.recursive, listing);

    if (options.list) {
        for (const auto& r : list.rows())
            std::printf("%s\t%s\n", r.SourceFileName.c_str(), r.WorkSheetName.c_str());
        return listing.anyFailed() ? 1 : 0;
    }

    const std::string chosen = fullPath(options.outputFolder);
    const std::vector<RowName> names = options.name.empty() ? std::vector<RowName>() : nameRows(options.name, list);
    if (options.dryRun) {
        ensureOutputFolder(chosen, true);
        dryRun(list, chosen, names, options.noClobber, outcomes);
    } else if (ensureOutputFolder(chosen, false)) {
        split::RunOptions runOptions;
        runOptions.chosenFolder = chosen;
        runOptions.keepExisting = options.noClobber;
        if (options.jobs > 1 && list.count() > 0) {
            app.reset();  // the workers are forked: no engine thread may be running
            runInParallel(options, list, runOptions, names, repairs, outcomes, passwords);
        } else {
            runRows(*app, list, runOptions, names, repairs, outcomes, true);
        }
        if (outcomes.writtenCount() != list.count())
            std::fprintf(stderr, "tamberlin-split: %d of %d worksheets written.\n", outcomes.writtenCount(), list.count());
    } else {
        outcomes.failed(chosen, {}, "the output folder cannot be made");
    }
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - started);
    outcomes.finish(static_cast<std::uint64_t>(ms.count()));
    return outcomes.exitStatus();
}

}  // namespace cli
