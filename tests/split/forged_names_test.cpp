// Forged names (tests/data/hostile/make_hostile.py) never lead a run out of
// the chosen folder: the sheets before the forged one are written, the
// forged one ends the run with 1004 naming the file, and nothing is written
// anywhere else.

#include "excel/Application.h"
#include "platform/sys/Error.h"
#include "split/OutputNaming.h"
#include "split/SplitRun.h"
#include "support/SourceGuard.h"
#include "support/TempDir.h"
#include "tasklist/TaskList.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace fs = std::filesystem;

namespace {

const fs::path kData = fs::path(TB_TEST_DATA);

struct Listing final : tasklist::ListingReport {
    void failed(const std::string& path, const tb::Error& e) override { ADD_FAILURE() << path << ": " << e.description(); }
};

struct Quiet final : split::RunReport {
    void failed(const std::string&, const tb::Error&) override {}
    void rowDone(int, const tasklist::TaskRow&, const std::string&) override {}
    void shortNameFailed(const tasklist::TaskRow&, const tb::Error& e) override { ADD_FAILURE() << e.description(); }
};

// Splits `file` (copied below a fresh root as `as`) into root/out; answers
// the run's failure and every path below the root.
std::pair<std::optional<tb::Error>, std::vector<std::string>> splitBelow(const fs::path& file, const std::string& as)
{
    support::TempDir root;
    fs::create_directories(root / "out");
    fs::copy_file(file, root / as);
    support::SourceGuard guard(root / as);
    excel::Application app;
    app.setDisplayAlerts(false);
    tasklist::TaskList list;
    Listing listing;
    list.addWorkbook(app, (root / as).string(), listing);
    Quiet quiet;
    split::RunOptions options;
    options.chosenFolder = (root / "out").string();
    const auto result = split::run(app, list, options, quiet);
    EXPECT_EQ(guard.changes(), "");
    std::vector<std::string> files;
    for (const auto& e : fs::recursive_directory_iterator(root.path()))
        files.push_back(fs::relative(e.path(), root.path()).string());
    std::sort(files.begin(), files.end());
    return {result.failure, files};
}

TEST(ForgedNames, ASheetNameNeverLeadsOutOfTheChosenFolder)
{
    for (const std::string c : {"sheet_dotdot.xlsx", "sheet_slash.xlsx", "sheet_control.xlsx", "sheet_long.xlsx",
                                "sheet_dotdot.xls", "sheet_nul.xls"}) {
        SCOPED_TRACE(c);
        const std::string as = "Forged" + fs::path(c).extension().string();
        const auto [failure, files] = splitBelow(kData / "hostile" / c, as);
        ASSERT_TRUE(failure) << "the forged sheet was written";
        EXPECT_EQ(failure->number(), tb::err::EngineFailure) << failure->description();
        const std::string good = c.ends_with(".xls") ? "out/Forged/Sheet1.xls" : "out/Forged/Good.xls";
        EXPECT_EQ(files, (std::vector<std::string>{as, "out", "out/Forged", good}));
    }
}

TEST(ForgedNames, OutputNamingRefusesNamesThatLeaveTheFolder)
{
    const std::string nul = std::string("a") + '\0' + "b";
    for (const std::string& name : {std::string("a/b"), std::string("../x"), nul}) {
        try {
            split::sheetFileName("/out/Book/", name, "/in/Book.xlsx");
            ADD_FAILURE() << "accepted " << name;
        } catch (const tb::Error& e) {
            EXPECT_EQ(e.number(), 1004);
            EXPECT_NE(e.description().find("/in/Book.xlsx"), std::string::npos) << e.description();
        }
    }
    // A name of periods stays a file name in the folder: "..xls " is no way up.
    EXPECT_EQ(split::sheetFileName("/out/Book/", "..", "/in/Book.xlsx"), "/out/Book/...xls ");
}

// "...xls" has the short name "..", whose folder would be the chosen
// folder's parent: saving there is refused, and nothing is written.
TEST(ForgedNames, AWorkbookNameOfPeriodsWritesNothingAboveTheChosenFolder)
{
    const auto [failure, files] = splitBelow(kData / "xls" / "lo" / "simple02.xls", "...xls");
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->number(), 1004);
    EXPECT_NE(failure->description().find("would leave its folder"), std::string::npos) << failure->description();
    EXPECT_EQ(files, (std::vector<std::string>{"...xls", "out"}));
}

}  // namespace
