// The task list over the real engine: which rows a workbook or a folder
// gives, the rules that refuse a workbook or a sheet, what a failure leaves.

#include "excel/Application.h"
#include "excel/Worksheet.h"
#include "platform/sys/Error.h"
#include "support/ForgedWorkbook.h"
#include "support/TempDir.h"
#include "tasklist/TaskList.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

const fs::path kData = fs::path(TB_TEST_DATA);

// Notes every call as one line.
struct Recorder final : tasklist::ListingReport {
    std::vector<std::string> calls;
    void opening(const std::string& path) override { calls.push_back("opening " + fs::path(path).filename().string()); }
    void rowAdded(int index, const tasklist::TaskRow& row) override
    {
        calls.push_back("row " + std::to_string(index) + " " + row.WorkSheetName);
    }
    void sheetLeftOut(const std::string&, const std::string& sheet) override { calls.push_back("left out " + sheet); }
    void sheetSkipped(const std::string&, const std::string& sheet, const std::string& reason) override
    {
        calls.push_back("skipped " + sheet + ": " + reason);
    }
    void failed(const std::string& path, const tb::Error& e) override
    {
        calls.push_back("failed " + fs::path(path).filename().string() + " " + std::to_string(e.number()));
    }
};

// "file|sheet" for each row.
std::vector<std::string> rows(const tasklist::TaskList& list)
{
    std::vector<std::string> out;
    for (const auto& r : list.rows())
        out.push_back(fs::path(r.SourceFileName).filename().string() + "|" + r.WorkSheetName);
    return out;
}

struct TaskListTest : ::testing::Test {
    support::TempDir dir;
    excel::Application app;
    tasklist::TaskList list;
    Recorder report;

    tasklist::Listing add(const fs::path& path) { return list.addWorkbook(app, path.string(), report); }
    fs::path copy(const fs::path& sample, const std::string& as)
    {
        fs::copy_file(sample, dir / as);
        return dir / as;
    }
};

TEST_F(TaskListTest, EachWorksheetIsARowInTabOrderAndTheWorkbookIsClosedAgain)
{
    EXPECT_EQ(add(kData / "xlsx" / "hide01.xlsx"), tasklist::Listing::Added);  // Sheet2 hidden
    add(kData / "xlsx" / "chartsheet02.xlsx");                                // a chart sheet between two worksheets
    add(kData / "xls" / "lo" / "simple02.xls");
    add(kData / "xlsx" / "made" / "chart_only.xlsx");                          // chart sheets only: no row
    EXPECT_EQ(rows(list), (std::vector<std::string>{"hide01.xlsx|Sheet1", "hide01.xlsx|Sheet2", "hide01.xlsx|Sheet3",
                                                    "chartsheet02.xlsx|Sheet1", "chartsheet02.xlsx|Sheet2",
                                                    "simple02.xls|Sheet1", "simple02.xls|Data Sheet",
                                                    "simple02.xls|Sheet3"}));
    EXPECT_EQ(list.row(1).SourceFileName, (kData / "xlsx" / "hide01.xlsx").string());  // exactly as given
    EXPECT_EQ(report.calls[0], "opening hide01.xlsx");
    EXPECT_EQ(report.calls[3], "row 3 Sheet3");
    EXPECT_EQ(app.GetWorkbooks().Count(), 0);
    EXPECT_THROW(list.row(9), tb::Error);
}

TEST_F(TaskListTest, AWorkbookIsListedOnceWhateverTheCaseOfItsPathInAnyScript)
{
    const fs::path upper = copy(kData / "xlsx" / "hide01.xlsx", "\xC3\x84rger.xlsx");   // "Ärger.xlsx"
    const fs::path lower = copy(kData / "xlsx" / "simple02.xlsx", "\xC3\xA4rger.xlsx");  // "ärger.xlsx"
    add(upper);
    report.calls.clear();
    EXPECT_EQ(add(lower), tasklist::Listing::AlreadyListed);
    EXPECT_EQ(add(dir / "\xC3\x84RGER.XLSX"), tasklist::Listing::AlreadyListed);
    EXPECT_TRUE(report.calls.empty()) << "a refused workbook is not even opened";
    EXPECT_EQ(list.count(), 3);

    // While one of its rows stands the workbook stays refused; with none left
    // it can be listed again, all of its rows.
    list.remove(3);
    list.remove(1);
    EXPECT_EQ(add(lower), tasklist::Listing::AlreadyListed);
    list.remove(1);
    EXPECT_EQ(add(lower), tasklist::Listing::Added);
    EXPECT_EQ(rows(list), (std::vector<std::string>{"\xC3\xA4rger.xlsx|Sheet1", "\xC3\xA4rger.xlsx|Data Sheet",
                                                    "\xC3\xA4rger.xlsx|Sheet3"}));
    list.clear();
    EXPECT_EQ(add(upper), tasklist::Listing::Added);
    EXPECT_THROW(list.remove(4), tb::Error);
}

TEST_F(TaskListTest, AWorksheetWhoseNameHoldsAQuestionMarkGetsNoRow)
{
    const fs::path forged = dir / "forged.xlsx";
    support::renameSheet(kData / "xlsx" / "hide01.xlsx", forged, "Sheet2", "Sheet?" + std::string(150, 'W'));
    add(forged);
    EXPECT_EQ(rows(list), (std::vector<std::string>{"forged.xlsx|Sheet1", "forged.xlsx|Sheet3"}));
    EXPECT_EQ(report.calls, (std::vector<std::string>{"opening forged.xlsx", "row 1 Sheet1",
                                                      "left out Sheet?" + std::string(150, 'W'), "row 2 Sheet3"}));

    // Every worksheet refused: no row, and no failure.
    const fs::path single = dir / "single.xlsx";
    support::renameSheet(kData / "xlsx" / "chartsheet01.xlsx", single, "Sheet1", "Q?");
    EXPECT_EQ(add(single), tasklist::Listing::Added);
    EXPECT_EQ(list.count(), 2);
    EXPECT_EQ(app.GetWorkbooks().Count(), 0);
}

// The command line's selection: the filter's reason reaches the report, and
// the rows left keep their tab position and the format of their copies.
TEST_F(TaskListTest, AFilterLeavesSheetsOutWithItsReasonAndRowsKeepTheirTabPosition)
{
    list.setFilter([](const excel::Worksheet& sheet) {
        return sheet.Visible() == excel::SheetVisibility::Visible ? std::string() : "hidden";
    });
    add(kData / "xlsx" / "hide01.xlsx");  // Sheet2 hidden
    add(kData / "xls" / "lo" / "hide01.xls");
    EXPECT_EQ(rows(list), (std::vector<std::string>{"hide01.xlsx|Sheet1", "hide01.xlsx|Sheet3", "hide01.xls|Sheet1",
                                                    "hide01.xls|Sheet3"}));
    EXPECT_EQ(report.calls.at(2), "skipped Sheet2: hidden");
    EXPECT_EQ(list.row(2).SheetIndex, 3);
    EXPECT_EQ(list.row(2).CopyExtension, "xlsx");
    EXPECT_EQ(list.row(3).SheetIndex, 1);
    EXPECT_EQ(list.row(3).CopyExtension, "xls");

    // A filter that fails fails its workbook, as a read would.
    list.setFilter([](const excel::Worksheet&) -> std::string { throw tb::Error(7, "Out of memory"); });
    report.calls.clear();
    EXPECT_EQ(add(kData / "xlsx" / "simple02.xlsx"), tasklist::Listing::Failed);
    EXPECT_EQ(report.calls.back(), "failed simple02.xlsx 7");
    EXPECT_EQ(app.GetWorkbooks().Count(), 0);
}

TEST_F(TaskListTest, AWorkbookThatCannotBeReadIsReportedOnceAndAddsNoRow)
{
    const fs::path bad = dir / "broken.xlsx";
    support::writeBytes(bad, {'P', 'K', 3, 4, 'x', 'x'});
    EXPECT_EQ(add(bad), tasklist::Listing::Failed);
    EXPECT_EQ(add(dir / "nope.xlsx"), tasklist::Listing::Failed);
    EXPECT_EQ(report.calls, (std::vector<std::string>{"opening broken.xlsx", "failed broken.xlsx 1004",
                                                      "opening nope.xlsx", "failed nope.xlsx 53"}));
    EXPECT_EQ(list.count(), 0);
    EXPECT_EQ(app.GetWorkbooks().Count(), 0);
    // A failed workbook is not listed: once repaired it can be added.
    fs::copy_file(kData / "xlsx" / "hide01.xlsx", bad, fs::copy_options::overwrite_existing);
    EXPECT_EQ(add(bad), tasklist::Listing::Added);
}

TEST_F(TaskListTest, AFolderGivesItsXlsThenItsXlsxWorkbooksAndNothingElse)
{
    const fs::path folder = dir / "in";
    fs::create_directories(folder / "sub");
    fs::copy_file(kData / "xlsx" / "hide01.xlsx", folder / "b.xlsx");
    fs::copy_file(kData / "xlsx" / "simple02.xlsx", folder / "A.XLSX");
    fs::copy_file(kData / "xlsx" / "hide02.xlsx", folder / ".hidden.xlsx");
    fs::copy_file(kData / "xlsx" / "hide02.xlsx", folder / "sub" / "inner.xlsx");
    fs::copy_file(kData / "xlsx" / "hide02.xlsx", folder / "notes.txt");
    fs::copy_file(kData / "xls" / "lo" / "hide01.xls", folder / "z.XLS");
    fs::create_directories(folder / "folder.xls");
    support::writeBytes(folder / "old.Xls", {'n', 'o', 'p', 'e'});
    list.addFolder(app, folder.string() + "/", report);
    // Every .xls first, in name order (the unreadable one is reported and the
    // scan goes on), then every .xlsx; case ignored throughout.
    EXPECT_EQ(std::count(report.calls.begin(), report.calls.end(), "failed old.Xls 1004"), 1);
    EXPECT_EQ(rows(list), (std::vector<std::string>{"z.XLS|Sheet1", "z.XLS|Sheet2", "z.XLS|Sheet3", "A.XLSX|Sheet1",
                                                    "A.XLSX|Data Sheet", "A.XLSX|Sheet3", "b.xlsx|Sheet1",
                                                    "b.xlsx|Sheet2", "b.xlsx|Sheet3"}));
    EXPECT_EQ(list.row(1).SourceFileName, (folder / "z.XLS").string());

    // The same folder again adds nothing and reports nothing.
    fs::remove(folder / "old.Xls");
    report.calls.clear();
    list.addFolder(app, folder.string() + "/", report);
    EXPECT_EQ(list.count(), 9);
    EXPECT_TRUE(report.calls.empty());

    try {
        list.addFolder(app, (dir / "gone").string() + "/", report);
        ADD_FAILURE() << "a missing folder was read";
    } catch (const tb::Error& e) {
        EXPECT_EQ(e.number(), tb::err::PathNotFound);
    }
}

}  // namespace
