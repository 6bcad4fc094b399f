// The split run over a task list and the real engine: the tree it writes,
// how often it opens a source, the names it makes, and how a failure ends it.

#include "excel/Application.h"
#include "excel/ApplicationObserver.h"
#include "platform/sys/Error.h"
#include "split/FolderOps.h"
#include "split/SplitRun.h"
#include "support/SourceGuard.h"
#include "support/TempDir.h"
#include "tasklist/TaskList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

namespace fs = std::filesystem;

namespace {

const fs::path kData = fs::path(TB_TEST_DATA);

struct Listing final : tasklist::ListingReport {
    void failed(const std::string& path, const tb::Error& e) override { ADD_FAILURE() << path << ": " << e.description(); }
};

struct Recorder final : split::RunReport {
    std::vector<std::string> calls;
    void rowDone(int index, const tasklist::TaskRow&, const std::string& written) override
    {
        calls.push_back(std::to_string(index) + " " + written);
    }
    void rowFailed(int index, const tasklist::TaskRow&, const tb::Error& e) override
    {
        calls.push_back(std::to_string(index) + " refused " + std::to_string(e.number()));
    }
    void shortNameFailed(const tasklist::TaskRow& row, const tb::Error& e) override
    {
        calls.push_back("short name " + fs::path(row.SourceFileName).filename().string() + " " +
                        std::to_string(e.number()));
    }
    void failed(const std::string& workbook, const tb::Error& e) override
    {
        calls.push_back("failed " + fs::path(workbook).filename().string() + " " + std::to_string(e.number()));
    }
};

class OperationLog final : public excel::ApplicationObserver {
public:
    void visibleChanged(bool) override {}
    void workbooksChanged(const std::vector<std::string>&, int) override {}
    void operationDone(const std::string& d) override { ops.push_back(d); }
    std::vector<std::string> ops;
};

struct SplitRunTest : ::testing::Test {
    support::TempDir dir;
    fs::path in = dir / "in";
    fs::path out = dir / "out";
    excel::Application app;
    tasklist::TaskList list;
    Recorder report;

    SplitRunTest()
    {
        fs::create_directories(in);
        fs::create_directories(out);
        app.setDisplayAlerts(false);
    }
    void add(const fs::path& sample, const std::string& as)
    {
        fs::copy_file(sample, in / as);
        Listing listing;
        list.addWorkbook(app, (in / as).string(), listing);
    }
    split::RunResult run(const fs::path& chosen, split::RunOptions options = {})
    {
        const support::SourceFolderGuard sources(in);
        options.chosenFolder = chosen.string();
        auto result = split::run(app, list, options, report);
        EXPECT_EQ(sources.changes(), "");
        return result;
    }
    split::RunResult run() { return run(out); }
    std::string read(const fs::path& p)
    {
        std::ifstream f(p, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(f), {});
    }
    // Every path below `root`, folders ending in "/".
    static std::vector<std::string> tree(const fs::path& root)
    {
        std::vector<std::string> files;
        for (const auto& e : fs::recursive_directory_iterator(root))
            files.push_back(fs::relative(e.path(), root).string() + (e.is_directory() ? "/" : ""));
        std::sort(files.begin(), files.end());
        return files;
    }
};

TEST_F(SplitRunTest, RowsOfTwoWorkbooksGiveTheTreeAndEachSourceIsOpenedOnce)
{
    add(kData / "xlsx" / "hide01.xlsx", "Book1.xlsx");     // Sheet1, Sheet2 (hidden), Sheet3
    add(kData / "xlsx" / "simple02.xlsx", "Budget.xlsx");  // Sheet1, Data Sheet, Sheet3
    list.remove(6);
    list.remove(4);
    list.remove(3);  // rows A, A, B are left
    OperationLog log;
    app.setObserver(&log);
    const auto result = run();
    app.setObserver(nullptr);

    EXPECT_FALSE(result.failure);
    EXPECT_EQ(result.rowsDone, 3);
    EXPECT_EQ(tree(out), (std::vector<std::string>{"Book1/", "Book1/Sheet1.xls", "Book1/Sheet2.xls", "Budget/",
                                                   "Budget/Data Sheet.xls"}));
    EXPECT_EQ(report.calls, (std::vector<std::string>{"1 " + (out / "Book1" / "Sheet1.xls").string(),
                                                      "2 " + (out / "Book1" / "Sheet2.xls").string(),
                                                      "3 " + (out / "Budget" / "Data Sheet.xls").string()}));
    std::vector<std::string> opened;
    for (const auto& o : log.ops) {
        if (o.rfind("Opened ", 0) == 0 || o.rfind("Closed " + in.string(), 0) == 0)
            opened.push_back(o.substr(0, 7) + fs::path(o.substr(7)).filename().string());
    }
    // A is opened once and closed when B's row comes up; B at the end.
    EXPECT_EQ(opened, (std::vector<std::string>{"Opened Book1.xlsx", "Closed Book1.xlsx", "Opened Budget.xlsx",
                                                "Closed Budget.xlsx"}));
    EXPECT_EQ(app.GetWorkbooks().Count(), 0);
    EXPECT_EQ(list.count(), 3);
}

// A user's folder is the user's: a parent or the folder itself whose name
// ends in a period or a blank (which Linux keeps) is written into as chosen,
// and no look-alike folder without them is made.
TEST_F(SplitRunTest, TheChosenFolderIsWrittenIntoAsItIsNamed)
{
    add(kData / "xlsx" / "hide01.xlsx", "Book1.xlsx");
    for (const char* chosen : {"ACME Inc./out", "Blank /out", "out.", "out "}) {
        SCOPED_TRACE(chosen);
        const fs::path root = dir / "root";
        fs::create_directories(root / chosen);
        report.calls.clear();
        const auto result = run(root / chosen);
        EXPECT_FALSE(result.failure) << result.failure->description();
        EXPECT_EQ(tree(root / chosen), (std::vector<std::string>{"Book1/", "Book1/Sheet1.xls", "Book1/Sheet2.xls",
                                                                 "Book1/Sheet3.xls"}));
        EXPECT_EQ(report.calls.at(0), "1 " + (root / chosen / "Book1" / "Sheet1.xls").string());
        // Nothing but the chosen folder (and its parent) below the root.
        const fs::path top = *fs::path(chosen).begin();
        for (const auto& e : fs::directory_iterator(root))
            EXPECT_EQ(e.path().filename(), top);
        fs::remove_all(root);
    }
    EXPECT_FALSE(split::FolderExists((dir / "ACME Inc./out").string())) << "no folder by another name answers";
}

TEST_F(SplitRunTest, ShortNamesLoseTrailingPeriodsAndBlanksAsWindowsWould)
{
    add(kData / "xlsx" / "hide01.xlsx", "Book1.xlsx");       // "Book1."
    add(kData / "xlsx" / "simple02.xlsx", "Book1.xlsm");     // "Book1." too: one folder
    add(kData / "xlsx" / "hide02.xlsx", "Q1.2020 data .xlsx");  // "Q1.2020 data ."
    const auto result = run();
    EXPECT_FALSE(result.failure);
    EXPECT_EQ(tree(out), (std::vector<std::string>{"Book1/", "Book1/Data Sheet.xls", "Book1/Sheet1.xls",
                                                   "Book1/Sheet2.xls", "Book1/Sheet3.xls", "Q1.2020 data/",
                                                   "Q1.2020 data/Sheet1.xls", "Q1.2020 data/Sheet2.xls",
                                                   "Q1.2020 data/Sheet3.xls"}));
}

TEST_F(SplitRunTest, AWorkbookWithNoShortNameIsReportedForEachRowAndWritesIntoTheChosenFolder)
{
    add(kData / "xlsx" / "hide01.xlsx", "abc");  // three characters: no extension to cut
    const auto result = run();
    EXPECT_FALSE(result.failure);
    EXPECT_EQ(report.calls.size(), 6u);
    EXPECT_EQ(report.calls[0], "short name abc 5");
    EXPECT_EQ(report.calls[1], "1 " + (out / "Sheet1.xls").string());
    EXPECT_EQ(tree(out), (std::vector<std::string>{"Sheet1.xls", "Sheet2.xls", "Sheet3.xls"}));
}

TEST_F(SplitRunTest, TheFirstFailureEndsTheRunAndTheFilesBeforeItStay)
{
    add(kData / "xlsx" / "hide01.xlsx", "Book1.xlsx");
    fs::create_directories(out / "Book1" / "Sheet2.xls");  // a folder where the file should go
    auto result = run();
    ASSERT_TRUE(result.failure);
    EXPECT_EQ(result.failure->number(), tb::err::PathFileAccess);
    EXPECT_EQ(result.rowsDone, 1);
    EXPECT_EQ(result.failedWorkbook, (in / "Book1.xlsx").string());
    EXPECT_EQ(report.calls.back(), "failed Book1.xlsx 75");
    EXPECT_TRUE(fs::is_regular_file(out / "Book1" / "Sheet1.xls"));
    EXPECT_FALSE(fs::exists(out / "Book1" / "Sheet3.xls"));
    EXPECT_EQ(app.GetWorkbooks().Count(), 2) << "the source and the unsaved copy stay open";

    // The next run goes by what it finds in the engine.
    fs::remove(out / "Book1" / "Sheet2.xls");
    result = run();
    EXPECT_FALSE(result.failure);
    EXPECT_EQ(tree(out).size(), 4u);
    EXPECT_EQ(app.GetWorkbooks().Count(), 0);
}

TEST_F(SplitRunTest, AFolderThatCannotBeMadeEndsTheRunWithItsNumber)
{
    add(kData / "xlsx" / "hide01.xlsx", "Book1.xlsx");
    support::writeBytes(out / "Book1", {'x'});  // a file where the folder should go
    auto result = run();
    ASSERT_TRUE(result.failure);
    EXPECT_EQ(result.failure->number(), 58);
    EXPECT_EQ(result.rowsDone, 0);

    const fs::path gone = dir / "gone";
    result = run(gone);
    ASSERT_TRUE(result.failure);
    EXPECT_EQ(result.failure->number(), tb::err::PathNotFound);
    EXPECT_FALSE(fs::exists(gone));
}

// The command line names files its own way: the run makes the folders the
// name asks for under the chosen folder, and a row whose name is refused
// fails alone while the others are written.
TEST_F(SplitRunTest, ANamingHookPlacesFilesUnderTheChosenFolderAndARefusedRowFailsAlone)
{
    add(kData / "xlsx" / "hide01.xlsx", "Book1.xlsx");
    split::RunOptions options;
    options.fileFor = [](int index, const tasklist::TaskRow& row) -> std::string {
        if (index == 2)
            throw tb::Error(tb::err::EngineFailure, "refused");
        return "a/b./" + std::to_string(row.SheetIndex) + " " + row.WorkSheetName + ".xlsx";
    };
    const auto result = run(out, options);
    EXPECT_FALSE(result.failure);
    EXPECT_EQ(tree(out), (std::vector<std::string>{"a/", "a/b./", "a/b./1 Sheet1.xlsx", "a/b./3 Sheet3.xlsx"}));
    EXPECT_EQ(report.calls, (std::vector<std::string>{"1 " + (out / "a" / "b." / "1 Sheet1.xlsx").string(),
                                                      "2 refused 1004",
                                                      "3 " + (out / "a" / "b." / "3 Sheet3.xlsx").string()}));
    EXPECT_EQ(read(out / "a" / "b." / "1 Sheet1.xlsx").substr(0, 2), "PK");
    EXPECT_EQ(app.GetWorkbooks().Count(), 0);
}

TEST_F(SplitRunTest, KeepingExistingFilesFailsTheirRowsAloneAndLeavesThemAsTheyWere)
{
    add(kData / "xlsx" / "hide01.xlsx", "Book1.xlsx");
    fs::create_directories(out / "Book1");
    support::writeBytes(out / "Book1" / "Sheet2.xls", {'o', 'l', 'd'});
    split::RunOptions options;
    options.keepExisting = true;
    const auto result = run(out, options);
    EXPECT_FALSE(result.failure);
    EXPECT_EQ(report.calls.at(1), "2 refused 58");
    EXPECT_EQ(read(out / "Book1" / "Sheet2.xls"), "old");
    EXPECT_TRUE(fs::is_regular_file(out / "Book1" / "Sheet3.xls"));

    // Without the option the file is replaced, as the window does.
    report.calls.clear();
    EXPECT_FALSE(run().failure);
    EXPECT_EQ(read(out / "Book1" / "Sheet2.xls").substr(0, 2), "PK");
}

}  // namespace
