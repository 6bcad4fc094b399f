// The command line's own rules for batch runs: which sheets a pattern keeps,
// where a name template puts a copy, and the JSON lines scripts read.

#include "cli/JsonLines.h"
#include "cli/NameTemplate.h"
#include "cli/SheetPattern.h"
#include "platform/sys/Error.h"

#include <gtest/gtest.h>

namespace {

TEST(SheetPatterns, MatchWholeNamesIgnoringCaseWithStarsAndQuestionMarks)
{
    EXPECT_TRUE(cli::globMatches("Q?", "q3"));
    EXPECT_FALSE(cli::globMatches("Q?", "Q10"));
    EXPECT_TRUE(cli::globMatches("*2024*", "Budget 2024 final"));
    EXPECT_FALSE(cli::globMatches("2024", "Budget 2024"));
    EXPECT_TRUE(cli::globMatches("*", ""));
    EXPECT_TRUE(cli::globMatches("a*b*c", "aXbYbZc"));
    EXPECT_FALSE(cli::globMatches("a*b*c", "aXbYbZ"));
    // Case is folded beyond ASCII, and "?" takes a whole character, not a byte.
    EXPECT_TRUE(cli::globMatches("ÄRGER", "ärger"));
    EXPECT_TRUE(cli::globMatches("Сводка", "СВОДКА"));
    EXPECT_TRUE(cli::globMatches("?bersicht", "Übersicht"));
    EXPECT_FALSE(cli::globMatches("??bersicht", "Übersicht"));
}

TEST(SheetPatterns, IncludeFirstThenExclude)
{
    cli::SheetSelection s;
    EXPECT_EQ(s.excludedBy("anything"), "");
    s.include = {"Q*", "Summary"};
    s.exclude = {"*draft*"};
    EXPECT_EQ(s.excludedBy("q1"), "");
    EXPECT_EQ(s.excludedBy("SUMMARY"), "");
    EXPECT_NE(s.excludedBy("Notes"), "");
    EXPECT_EQ(s.excludedBy("Q2 draft"), "--exclude *draft*");
}

cli::NameFields fields(std::string sheet = "Jan", std::string book = "Budget")
{
    return {book, "Budget", std::move(sheet), 3, "xlsx"};
}

TEST(NameTemplates, FieldsAreFilledAndTheDefaultIsTheWindowsRule)
{
    EXPECT_EQ(cli::expandName(cli::kDefaultName, fields(), "b.xlsx"), "Budget/Jan.xls");
    EXPECT_EQ(cli::expandName("{stem}-{index}-{sheet}.{ext}", fields(), "b.xlsx"), "Budget-3-Jan.xlsx");
    // The window trims what Windows would: "Book1." is the folder "Book1",
    // "Jan ." the file "Jan .xls" stays as the sheet made it.
    EXPECT_EQ(cli::expandName(cli::kDefaultName, fields("Total.", "Book1."), "b.xlsx"), "Book1/Total..xls");
    EXPECT_EQ(cli::expandName("{book}/{sheet}", fields("Total. .", "Book1"), "b.xlsx"), "Book1/Total");
}

TEST(NameTemplates, NoFieldLeadsOutOfTheOutputFolder)
{
    for (const char* sheet : {"../x", "a/b", "..", "."}) {
        try {
            cli::expandName("{sheet}", fields(sheet), "b.xlsx");
            ADD_FAILURE() << sheet;
        } catch (const tb::Error& e) {
            EXPECT_EQ(e.number(), tb::err::EngineFailure);
            EXPECT_NE(e.description().find("b.xlsx"), std::string::npos);
        }
    }
    EXPECT_THROW(cli::expandName("{book}//{sheet}", fields(), "b.xlsx"), tb::Error);
    EXPECT_THROW(cli::expandName("{sheet}", fields(std::string("a\0b", 3)), "b.xlsx"), tb::Error);
}

TEST(NameTemplates, BadTemplatesAreUsageErrors)
{
    EXPECT_EQ(cli::templateProblem("{book}/{sheet}.{ext}"), "");
    EXPECT_NE(cli::templateProblem("{book}/{name}"), "");
    EXPECT_NE(cli::templateProblem("{book/{sheet}"), "");
    EXPECT_NE(cli::templateProblem("/abs/{sheet}"), "");
    EXPECT_NE(cli::templateProblem(""), "");
}

TEST(JsonLines, StringsAreEscapedAndInvalidBytesReplaced)
{
    EXPECT_EQ(cli::jsonString("a\"b\\c\n\t"), R"("a\"b\\c\u000a\u0009")");
    EXPECT_EQ(cli::jsonString("Übersicht"), "\"Übersicht\"");
    EXPECT_EQ(cli::jsonString(std::string("x\xff" "y")), R"("x\ufffdy")");
    EXPECT_EQ(cli::jsonString(std::string("\xC3")), R"("\ufffd")");  // cut short
}

TEST(JsonLines, AbsentValuesAreNull)
{
    cli::SheetLine l{"/in/B.xlsx", "S", "", "skipped", "hidden", 0, 0};
    EXPECT_EQ(cli::toJson(l), R"({"source":"/in/B.xlsx","sheet":"S","output":null,"status":"skipped",)"
                              R"("reason":"hidden","bytes":0,"ms":0})");
}

}  // namespace
