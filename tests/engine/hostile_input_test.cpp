// Hostile and forged workbooks (made by tests/data/hostile/make_hostile.py):
// each is refused with error 1004 naming the file and what was exceeded, in
// bounded time and memory.

#include "excel/Application.h"
#include "excel/Document.h"
#include "excel/Workbook.h"
#include "excel/Workbooks.h"
#include "excel/Worksheets.h"
#include "excel/ooxml/Xml.h"
#include "platform/sys/Error.h"
#include "support/SourceGuard.h"

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
    int number = 0;
    const std::string why = openError(app, file, &number);
    EXPECT_EQ(number, tb::err::EngineFailure);
    EXPECT_NE(why.find(file), std::string::npos) << why;
    EXPECT_NE(why.find("runs in a circle"), std::string::npos) << why;
    EXPECT_EQ(guard.changes(), "");
}
