// Hostile and forged workbooks (made by tests/data/hostile/make_hostile.py):
// each is refused with error 1004 naming the file and what was exceeded, in
// bounded time and memory, and nothing lands outside the chosen folder.

#include "excel/Application.h"
#include "excel/Document.h"
#include "excel/Workbook.h"
#include "excel/Workbooks.h"
#include "excel/Worksheets.h"
#include "excel/ooxml/Xml.h"
#include "platform/sys/Error.h"
#include "split/OutputNaming.h"
#include "support/SourceGuard.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

std::string hostile(const std::string& name) { return std::string(TB_TEST_DATA) + "/hostile/" + name; }

// The description of the error opening `file` raises, or "" when it opens.
std::string openError(excel::Application& app, const std::string& file, int* number = nullptr)
{
    try {
        app.GetWorkbooks().Open(file);
    } catch (const tb::Error& e) {
        if (number)
            *number = e.number();
        return e.description();
    }
    return "";
}

// The error that copying and saving every sheet into `folder` ends with, as a
// split run does it, or "" when all were written.
std::string splitError(excel::Application& app, const std::string& file, const fs::path& folder)
{
    try {
        auto book = app.GetWorkbooks().Open(file);
        for (auto& sheet : book->Worksheets().all()) {
            sheet.Copy();
            app.ActiveWorkbook()->SaveAs(split::sheetFileName(folder.string() + "/", sheet.Name(), file), 1);
            app.ActiveWorkbook()->Close(false);
        }
    } catch (const tb::Error& e) {
        EXPECT_EQ(e.number(), tb::err::EngineFailure) << e.description();
        return e.description();
    }
    return "";
}

// Every file below `root`, as paths relative to it.
std::vector<std::string> filesBelow(const fs::path& root)
{
    std::vector<std::string> out;
    for (const auto& e : fs::recursive_directory_iterator(root))
        out.push_back(fs::relative(e.path(), root).string());
    std::sort(out.begin(), out.end());
    return out;
}

}  // namespace

TEST(Budgets, AZipBombIsRefusedBeforeItIsInflated)
{
    excel::Application app;
    const std::string file = hostile("zip_bomb.xlsx");
    auto book = app.GetWorkbooks().Open(file);  // listing reads only the workbook part
    ASSERT_EQ(book->Worksheets().Count(), 2);
    try {
        book->Worksheets().Item("Bomb").Copy();
        FAIL() << "the bomb was copied";
    } catch (const tb::Error& e) {
        EXPECT_EQ(e.number(), 1004);
        EXPECT_NE(e.description().find("'" + file + "'"), std::string::npos) << e.description();
        EXPECT_NE(e.description().find("zip bomb"), std::string::npos) << e.description();
        EXPECT_NE(e.description().find("xl/worksheets/sheet2.xml"), std::string::npos) << e.description();
    }
    // The good sheet of the same package still copies.
    EXPECT_NO_THROW(book->Worksheets().Item("Good").Copy());
}

// Packages refused at opening, before anything is inflated or parsed past
// the budget: the error names the file and says which budget it broke.
TEST(Budgets, PackagesOverABudgetAreRefusedAtOpen)
{
    struct Case {
        const char* file;
        std::vector<const char*> says;
    };
    for (const Case& c : {Case{"zip_claims.xlsx", {"GiB in all"}},
                          Case{"deep_xml.xlsx", {"xl/workbook.xml", "more than 256 deep"}}}) {
        SCOPED_TRACE(c.file);
        excel::Application app;
        int number = 0;
        const std::string why = openError(app, hostile(c.file), &number);
        EXPECT_EQ(number, 1004);
        EXPECT_NE(why.find(hostile(c.file)), std::string::npos) << why;
        for (const char* words : c.says)
            EXPECT_NE(why.find(words), std::string::npos) << why;
    }
}

// The depth budget counts every level from the root element down: 256 levels
// parse, 257 are refused with the file and the part named.
TEST(Budgets, XmlDepthStopsAtTwoHundredFiftySixLevels)
{
    auto nested = [](int levels) {
        std::string xml = "<?xml version=\"1.0\"?>";
        for (int i = 0; i < levels - 1; ++i)
            xml += "<e>";
        xml += "<leaf/>";
        for (int i = 0; i < levels - 1; ++i)
            xml += "</e>";
        return xml;
    };
    EXPECT_NO_THROW(excel::ooxml::parseXml(nested(256), "book.xlsx", "xl/deep.xml"));
    try {
        excel::ooxml::parseXml(nested(257), "book.xlsx", "xl/deep.xml");
        ADD_FAILURE() << "257 levels parsed";
    } catch (const tb::Error& e) {
        EXPECT_EQ(e.number(), 1004);
        EXPECT_NE(e.description().find("'book.xlsx'"), std::string::npos) << e.description();
        EXPECT_NE(e.description().find("xl/deep.xml"), std::string::npos) << e.description();
        EXPECT_NE(e.description().find("more than 256 deep"), std::string::npos) << e.description();
    }
}

// A Workbook stream whose sector chain runs back to its start: refused at
// opening, naming the file, before anything is read or written.
TEST(Budgets, ASectorChainThatRunsInACircleIsRefused)
{
    excel::Application app;
    app.setDisplayAlerts(false);
    const std::string file = hostile("cfb_loop.xls");
    support::SourceGuard guard(file);
    support::TempDir out;
    const std::string why = splitError(app, file, out.path());
    EXPECT_NE(why.find(file), std::string::npos) << why;
    EXPECT_NE(why.find("runs in a circle"), std::string::npos) << why;
    EXPECT_TRUE(fs::is_empty(out.path()));
    EXPECT_EQ(guard.changes(), "");
}

// Sheet names a forged package carries: the good sheet before it is written,
// the forged one ends the run with the engine's error naming the sheet or the
// path, and nothing is written anywhere but in the chosen folder.
TEST(ForgedNames, ASheetNameNeverLeadsOutOfTheChosenFolder)
{
    for (const std::string c : {"sheet_dotdot.xlsx", "sheet_slash.xlsx", "sheet_control.xlsx", "sheet_long.xlsx",
                                "sheet_dotdot.xls", "sheet_nul.xls"}) {
        SCOPED_TRACE(c);
        support::TempDir root;
        const fs::path chosen = root.path() / "out";
        fs::create_directories(chosen);
        const std::string file = hostile(c);
        support::SourceGuard guard(file);
        excel::Application app;
        app.setDisplayAlerts(false);
        const std::string why = splitError(app, file, chosen);
        EXPECT_FALSE(why.empty()) << "the forged sheet was written";
        EXPECT_TRUE(why.find(file) != std::string::npos || why.find(chosen.string()) != std::string::npos) << why;
        const std::string good = c.ends_with(".xls") ? "out/Sheet1.xls" : "out/Good.xls";
        EXPECT_EQ(filesBelow(root.path()), (std::vector<std::string>{"out", good}));
        EXPECT_EQ(guard.changes(), "");
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

// A workbook whose own file name is forged: "...xls" has the short name "..",
// whose folder is the chosen folder's parent. Saving there is refused.
TEST(ForgedNames, AWorkbookNameOfPeriodsWritesNothingAboveTheChosenFolder)
{
    support::TempDir root;
    const fs::path chosen = root.path() / "out";
    fs::create_directories(chosen);
    const fs::path file = root.path() / "...xls";
    fs::copy_file(std::string(TB_TEST_DATA) + "/xls/lo/simple02.xls", file);
    support::SourceGuard guard(file);
    excel::Application app;
    app.setDisplayAlerts(false);
    auto book = app.GetWorkbooks().Open(file.string());
    const std::string folder = split::perWorkbookFolder(chosen.string(), split::GetWorkbookShortName(book->Name()));
    book->Worksheets().Item(1).Copy();
    try {
        app.ActiveWorkbook()->SaveAs(split::sheetFileName(folder, book->Worksheets().Item(1).Name(), file.string()), 1);
        FAIL() << "saved above the chosen folder";
    } catch (const tb::Error& e) {
        EXPECT_EQ(e.number(), 1004);
        EXPECT_NE(e.description().find("would leave its folder"), std::string::npos) << e.description();
    }
    EXPECT_EQ(filesBelow(root.path()), (std::vector<std::string>{"...xls", "out"}));
    EXPECT_EQ(guard.changes(), "");
}
