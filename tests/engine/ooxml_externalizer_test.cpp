#include "excel/ooxml/ReferenceExternalizer.h"

#include <gtest/gtest.h>

using excel::ooxml::ReferenceExternalizer;

namespace {
ReferenceExternalizer make()
{
    return ReferenceExternalizer({"Data", "It's", "Calc", "Last"}, "Calc", {"OwnTable"}, 2);
}
}  // namespace

TEST(ReferenceExternalizer, OtherSheetsBecomeExternalAndOwnStays)
{
    struct Case {
        const char* in;
        const char* out;
        bool changed;
    } cases[] = {
        {"Data!A1*2", "[2]Data!A1*2", true},
        {"'It''s'!$B$2", "'[2]It''s'!$B$2", true},
        {"SUM(Data:Last!A1)", "SUM([2]Data:Last!A1)", true},
        {"SUM('Data:It''s'!A1)", "SUM('[2]Data:It''s'!A1)", true},
        {"Calc!A1+'Calc'!B2+A3", "Calc!A1+'Calc'!B2+A3", false},
        {"calc!A1", "calc!A1", false},
        {"DATA!A1", "[2]DATA!A1", true},
        {"[1]Data!A1", "[1]Data!A1", false},
        {"Nowhere!A1", "Nowhere!A1", false},
        {"\"Data!A1\"&Data!A1", "\"Data!A1\"&[2]Data!A1", true},
        {"SUM(Prices[Cost])+SUM(OwnTable[X])", "SUM([2]!Prices[Cost])+SUM(OwnTable[X])", true},
        {"Data!#REF!", "[2]Data!#REF!", true},
    };
    for (const auto& c : cases) {
        auto ex = make();
        bool changed = false;
        EXPECT_EQ(ex.rewrite(c.in, changed), c.out) << c.in;
        EXPECT_EQ(changed, c.changed) << c.in;
        EXPECT_EQ(ex.anyExternalized(), c.changed) << c.in;
    }
}

TEST(ReferenceExternalizer, CollectsNamesAndTheCellsRead)
{
    auto ex = make();
    bool changed = false;
    ex.rewrite("Rate*SUM(Data!A1:B2,'It''s'!C3)+_xlfn.XLOOKUP(A1,Data!A:A,[0]!Other)+TRUE", changed);
    EXPECT_TRUE(ex.namesUsed().count("rate"));
    EXPECT_TRUE(ex.namesUsed().count("other"));
    EXPECT_TRUE(ex.namesUsed().count("_xlfn.xlookup"));
    EXPECT_FALSE(ex.namesUsed().count("a1"));
    EXPECT_FALSE(ex.namesUsed().count("true"));
    const auto& ranges = ex.rangesRead();
    ASSERT_EQ(ranges.count(0), 1u);
    ASSERT_EQ(ranges.at(0).size(), 2u);
    EXPECT_EQ(ranges.at(0)[0].last.row, 2u);
    EXPECT_EQ(ranges.at(0)[1].last.row, excel::formula::kMaxRow);
    ASSERT_EQ(ranges.count(1), 1u);
    EXPECT_EQ(ranges.at(1)[0].first.col, 3u);
    EXPECT_FALSE(ranges.count(2));
}
