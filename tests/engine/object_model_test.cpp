// The object model over real files: the rules on the active workbook, SaveAs
// with its question, and what a failure leaves behind.

#include "ooxml_fixture.h"

#include "excel/Application.h"
#include "excel/Workbook.h"
#include "excel/Workbooks.h"
#include "excel/Worksheets.h"
#include "platform/sys/Error.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <sys/stat.h>

namespace fs = std::filesystem;
using namespace ooxml_test;

namespace {

class ScriptedPrompter final : public excel::AlertPrompter {
public:
    explicit ScriptedPrompter(bool answer) : answer_(answer) {}
    bool askYesNo(const std::string& text) override
    {
        asked.push_back(text);
        return answer_;
    }
    std::vector<std::string> asked;

private:
    bool answer_;
};

class ObjectModel : public ::testing::Test {
protected:
    void SetUp() override
    {
        dir_ = fs::temp_directory_path() / ("tb-om-" + std::to_string(::getpid()) + "-" +
                                            ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_);
        source_ = (dir_ / "Book Src.xlsx").string();
        fs::copy_file(dataPath("crossref.xlsx"), source_);
    }
    void TearDown() override { fs::remove_all(dir_); }

    std::string readAll(const std::string& p)
    {
        auto b = readFile(p);
        return std::string(reinterpret_cast<const char*>(b.data()), b.size());
    }

    fs::path dir_;
    std::string source_;
};

}  // namespace

TEST_F(ObjectModel, TheFourRulesOnTheActiveWorkbook)
{
    excel::Application app;
    auto& books = app.GetWorkbooks();
    EXPECT_EQ(books.Count(), 0);
    EXPECT_EQ(app.ActiveWorkbook(), nullptr);
    auto src = books.Open(source_);
    EXPECT_EQ(app.ActiveWorkbook(), src);  // 1
    EXPECT_EQ(src->FullName(), source_);
    EXPECT_EQ(src->Name(), "Book Src.xlsx");
    EXPECT_EQ(src->Worksheets().Count(), 4);

    src->Worksheets().Item("Calc").Copy();
    auto copy = app.ActiveWorkbook();  // 2
    ASSERT_NE(copy, src);
    EXPECT_EQ(copy->Name(), "Book1");
    EXPECT_EQ(copy->FullName(), "Book1");
    EXPECT_EQ(copy->Worksheets().Count(), 1);
    EXPECT_EQ(copy->Worksheets().Item(1).Name(), "Calc");

    copy->SaveAs((dir_ / "out.xls ").string(), 1);
    EXPECT_EQ(app.ActiveWorkbook(), copy);  // 4
    EXPECT_EQ(copy->Name(), "out.xls");
    EXPECT_TRUE(fs::exists(dir_ / "out.xls"));

    copy->Close(false);
    EXPECT_EQ(app.ActiveWorkbook(), src);  // 3
    src->Worksheets().Item("data").Copy();  // case-blind, as Excel allows
    EXPECT_EQ(app.ActiveWorkbook()->Name(), "Book2");
    books.Close();
    EXPECT_EQ(books.Count(), 0);
    EXPECT_NO_THROW(books.Close());
}

// Each copy lets go of what it read of the source, so the same sheet copied
// first and again after all the others must come out the same, and the
// file itself must not change. Both families, over cross-sheet references.
TEST_F(ObjectModel, TheSourceFileIsNeverChangedAndReadsTheSameEveryTime)
{
    const std::string xls = (dir_ / "Book Src.xls").string();
    fs::copy_file(std::string(TB_TEST_DATA) + "/xls/made/crossref.xls", xls);
    for (const std::string& source : {source_, xls}) {
        SCOPED_TRACE(source);
        const std::string before = readAll(source);
        const auto stamp = fs::last_write_time(source);
        excel::Application app;
        auto src = app.GetWorkbooks().Open(source);
        std::vector<std::string> written;
        auto copy = [&](excel::Worksheet sheet) {
            sheet.Copy();
            written.push_back((dir_ / ("copy " + std::to_string(written.size()) + ".xls")).string());
            app.ActiveWorkbook()->SaveAs(written.back());
            app.ActiveWorkbook()->Close(false);
        };
        // Each sheet twice in a row, then all again from the last: some
        // copies are made ahead of the request, some when asked, and a copy
        // keeps what it parsed of the sheets its formulas reach for the
        // next one. However it was made, every copy of a sheet must come out
        // as the first did.
        const auto sheets = src->Worksheets().all();
        ASSERT_GE(sheets.size(), 2u);
        std::vector<std::size_t> order;
        for (std::size_t i = 0; i < sheets.size(); ++i)
            order.insert(order.end(), {i, i});
        for (std::size_t i = sheets.size(); i-- > 0;)
            order.push_back(i);
        for (std::size_t i : order)
            copy(sheets[i]);
        app.GetWorkbooks().Close();
        std::map<std::size_t, std::string> first;
        for (std::size_t k = 0; k < order.size(); ++k) {
            const std::string bytes = readAll(written[k]);
            const auto [it, isFirst] = first.emplace(order[k], bytes);
            if (!isFirst) {
                EXPECT_EQ(bytes, it->second) << "sheet " << order[k] + 1 << ", copy " << k + 1;
            }
        }
        EXPECT_EQ(readAll(source), before);
        EXPECT_EQ(fs::last_write_time(source), stamp);
        for (const auto& w : written)
            EXPECT_TRUE(fs::remove(w));
    }
}

TEST_F(ObjectModel, SaveAsOverAnExistingFileFollowsDisplayAlerts)
{
    const auto target = dir_ / "Calc.xls";
    {
        std::ofstream(target) << "old";
    }
    for (bool alerts : {true, false}) {
        for (bool yes : {false, true}) {
            {
                std::ofstream(target, std::ios::trunc) << "old";
            }
            excel::Application app;
            ScriptedPrompter prompter(yes);
            app.setPrompter(&prompter);
            app.setDisplayAlerts(alerts);
            app.GetWorkbooks().Open(source_)->Worksheets().Item("Calc").Copy();
            const bool shouldReplace = !alerts || yes;
            if (shouldReplace) {
                app.ActiveWorkbook()->SaveAs((dir_ / "Calc.xls ").string());
                EXPECT_NE(readAll(target.string()), "old");
            } else {
                try {
                    app.ActiveWorkbook()->SaveAs((dir_ / "Calc.xls ").string());
                    ADD_FAILURE() << "SaveAs replaced a file after No";
                } catch (const tb::Error& e) {
                    EXPECT_EQ(e.number(), 1004);
                    EXPECT_NE(e.description().find("was not replaced"), std::string::npos) << e.description();
                }
                EXPECT_EQ(readAll(target.string()), "old");
            }
            if (alerts) {
                ASSERT_EQ(prompter.asked.size(), 1u);
                EXPECT_EQ(prompter.asked[0],
                          "A file named 'Calc.xls' already exists in this location. Do you want to replace it?");
            } else {
                EXPECT_TRUE(prompter.asked.empty());
            }
        }
    }
    // No stray temporary files are left behind.
    for (const auto& e : fs::directory_iterator(dir_))
        EXPECT_EQ(e.path().filename().string().find(".tmp-"), std::string::npos) << e.path();
}

TEST_F(ObjectModel, NamesThatWouldLeaveTheFolderWriteNothing)
{
    excel::Application app;
    app.GetWorkbooks().Open(source_)->Worksheets().Item("Data").Copy();
    auto copy = app.ActiveWorkbook();
    const auto out = dir_ / "out";
    fs::create_directories(out);
    for (std::string bad : {out.string() + "/../escape.xls ", out.string() + "/a/b.xls ",
                            out.string() + "/..." , out.string() + "/x" + std::string(1, '\0') + ".xls"}) {
        EXPECT_THROW(copy->SaveAs(bad), tb::Error) << bad;
    }
    EXPECT_TRUE(fs::is_empty(out));
    EXPECT_FALSE(fs::exists(dir_ / "escape.xls"));
}

TEST_F(ObjectModel, ErrorsNameTheFile)
{
    excel::Application app;
    auto& books = app.GetWorkbooks();
    try {
        books.Open((dir_ / "missing.xlsx").string());
        FAIL();
    } catch (const tb::Error& e) {
        EXPECT_EQ(e.number(), 53);
        EXPECT_NE(e.description().find("missing.xlsx"), std::string::npos);
    }
    const auto notBook = dir_ / "text.xlsx";
    std::ofstream(notBook) << "just some text, not a workbook";
    try {
        books.Open(notBook.string());
        FAIL();
    } catch (const tb::Error& e) {
        EXPECT_EQ(e.number(), 1004);
        EXPECT_NE(e.description().find("'" + notBook.string() + "' is not a workbook"), std::string::npos)
            << e.description();
    }
    // Neither a folder nor a pipe is read: a pipe would block the read forever.
    const auto pipe = dir_ / "pipe.xlsx";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    for (const auto& p : {dir_, pipe}) {
        try {
            books.Open(p.string());
            FAIL() << p;
        } catch (const tb::Error& e) {
            EXPECT_EQ(e.number(), 75);
            EXPECT_NE(e.description().find(p.string()), std::string::npos) << e.description();
        }
    }
    EXPECT_EQ(books.Count(), 0);
    auto src = books.Open(source_);
    try {
        src->Worksheets().Item("Nope");
        FAIL();
    } catch (const tb::Error& e) {
        EXPECT_EQ(e.number(), 9);
    }
}
