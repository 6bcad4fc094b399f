// The command line's arguments, and where its rows are named before a run:
// usage errors, repeatable and attached values, and two rows on one path.

#include "cli/CommandLine.h"
#include "cli/ParallelRun.h"
#include "cli/RowNames.h"
#include "excel/Application.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

bool parse(std::vector<std::string> args, cli::Options& out, std::string& problem)
{
    args.insert(args.begin(), "tamberlin-split");
    std::vector<char*> argv;
    for (auto& a : args)
        argv.push_back(a.data());
    return cli::parseCommandLine(static_cast<int>(argv.size()), argv.data(), out, problem);
}

TEST(CommandLine, ValuesAttachedOrApartPatternsAccumulateAndDashDashEndsOptions)
{
    cli::Options o;
    std::string problem;
    ASSERT_TRUE(parse({"-oOUT", "--sheet", "Q*", "--sheet=Summary", "--exclude", "*draft*", "-j3", "--keep-extension",
                       "--", "-odd.xlsx"},
                      o, problem))
        << problem;
    EXPECT_EQ(o.outputFolder, "OUT");
    EXPECT_EQ(o.sheets.include, (std::vector<std::string>{"Q*", "Summary"}));
    EXPECT_EQ(o.sheets.exclude, (std::vector<std::string>{"*draft*"}));
    EXPECT_EQ(o.jobs, 3);
    EXPECT_EQ(o.name, "{book}/{sheet}.{ext}");
    EXPECT_EQ(o.workbooks, (std::vector<std::string>{"-odd.xlsx"}));

    // The last naming option wins, whichever it is.
    cli::Options n;
    ASSERT_TRUE(parse({"--keep-extension", "--name", "{stem}-{index}.{ext}", "b.xls"}, n, problem));
    EXPECT_EQ(n.name, "{stem}-{index}.{ext}");
}

TEST(CommandLine, UsageErrorsSayWhatIsWrong)
{
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"--frobnicate", "a.xls"}, "unknown option --frobnicate"},
        {{"a.xls", "--sheet"}, "option --sheet needs a value"},
        {{"-o"}, "option -o needs a value"},
        {{"-j", "0", "a.xls"}, "--jobs needs a whole number"},
        {{"--jobs=2x", "a.xls"}, "--jobs needs a whole number"},
        {{"--name", "{book}/{nope}", "a.xls"}, "unknown field {nope}"},
        {{"--json"}, "no workbook given"},
    };
    for (const auto& [args, expected] : cases) {
        cli::Options o;
        std::string problem;
        EXPECT_FALSE(parse(args, o, problem)) << args.front();
        EXPECT_EQ(problem.rfind(expected, 0), 0u) << problem;
    }
    cli::Options v;
    std::string problem;
    EXPECT_TRUE(parse({"--version"}, v, problem));
}

struct RowNamesTest : ::testing::Test {
    support::TempDir dir;
    excel::Application app;
    tasklist::TaskList list;
    struct Quiet final : tasklist::ListingReport {
        void failed(const std::string& path, const tb::Error& e) override { ADD_FAILURE() << path << e.description(); }
    } quiet;

    void add(const fs::path& sample, const fs::path& as)
    {
        fs::create_directories((dir / as).parent_path());
        fs::copy_file(sample, dir / as);
        list.addWorkbook(app, (dir / as).string(), quiet);
    }
};

TEST_F(RowNamesTest, TwoRowsOnOnePathAreBothRefusedAndTheOthersNamed)
{
    const fs::path data(TB_TEST_DATA);
    add(data / "xlsx" / "hide01.xlsx", "a/Book1.xlsx");  // Sheet1 Sheet2 Sheet3
    add(data / "xlsx" / "simple02.xlsx", "b/Book1.xlsx");  // Sheet1 "Data Sheet" Sheet3
    add(data / "xls" / "lo" / "hide01.xls", "Book1.xls");

    // The window's rule would put these on each other; with the format kept,
    // only the two .xlsx workbooks' like-named sheets meet.
    const auto names = cli::nameRows("{book}/{sheet}.{ext}", list);
    ASSERT_EQ(names.size(), 9u);
    EXPECT_TRUE(names[0].refused);
    EXPECT_NE(names[0].refused->description().find("b/Book1.xlsx"), std::string::npos);
    EXPECT_FALSE(names[1].refused);
    EXPECT_EQ(names[1].path, "Book1/Sheet2.xlsx");
    EXPECT_TRUE(names[3].refused);
    EXPECT_NE(names[3].refused->description().find("a/Book1.xlsx"), std::string::npos);
    EXPECT_EQ(names[4].path, "Book1/Data Sheet.xlsx");
    EXPECT_TRUE(names[2].refused && names[5].refused);
    EXPECT_EQ(names[6].path, "Book1/Sheet1.xls");

    const auto indexed = cli::nameRows("{stem}/{index} {sheet}.{ext}", list);
    EXPECT_EQ(indexed[8].path, "Book1/3 Sheet3.xls");
    EXPECT_TRUE(indexed[0].refused) << "a/Book1.xlsx and b/Book1.xlsx have one stem";
}

TEST_F(RowNamesTest, TheWindowsFileIsWhatTheRunWrites)
{
    add(fs::path(TB_TEST_DATA) / "xlsx" / "hide01.xlsx", "Q1.2020 .xlsx");
    EXPECT_EQ(cli::windowFile("/out", list.row(1)), "/out/Q1.2020/Sheet1.xls");
    add(fs::path(TB_TEST_DATA) / "xlsx" / "simple02.xlsx", "abc");
    EXPECT_EQ(cli::windowFile("/out", list.row(4)), "/out/Sheet1.xls") << "no short name: the chosen folder";
}

// -j keeps in one process, in list order, the workbooks whose files can
// replace each other's: those the window's rule puts in one folder.
TEST_F(RowNamesTest, WorkbooksSharingAFolderAreOneGroupInListOrder)
{
    const fs::path data(TB_TEST_DATA);
    add(data / "xls" / "lo" / "hide01.xls", "a/Book1.xls");
    add(data / "xlsx" / "simple02.xlsx", "Other.xlsx");
    add(data / "xlsx" / "hide01.xlsx", "b/Book1.xlsx");  // "Book1." is the folder Book1 too
    const auto segments = cli::segmentsOf(list);
    ASSERT_EQ(segments.size(), 3u);
    EXPECT_EQ(segments[2].first, 7);
    EXPECT_EQ(segments[2].count, 3);
    EXPECT_EQ(cli::folderGroups(list, segments, "/out", true), (std::vector<std::vector<int>>{{0, 2}, {1}}));
    // A template's paths never meet (two on one path are refused): each alone.
    EXPECT_EQ(cli::folderGroups(list, segments, "/out", false), (std::vector<std::vector<int>>{{0}, {1}, {2}}));
}

}  // namespace
