#include "excel/formula/StructuredReference.h"
#include "excel/ooxml/ReferenceExternalizer.h"

#include <gtest/gtest.h>

using excel::formula::areaText;
using excel::formula::resolveStructured;
using excel::formula::TableShape;

namespace {

// B2:E10 on its sheet: a header row, data in rows 3-9, a totals row.
TableShape sales()
{
    TableShape t;
    t.ref = {{2, 2}, {10, 5}};
    t.headerRows = 1;
    t.totalsRows = 1;
    t.columns = {"Region", "Amount", "Unit [kg]", "Note's"};
    return t;
}

std::string resolved(const char* selector, const TableShape& t, std::uint32_t row = 0)
{
    const auto a = resolveStructured(selector, t, row);
    return a ? areaText(*a) : "-";
}

}  // namespace

TEST(StructuredReference, EveryFormStandsForItsCells)
{
    const TableShape t = sales();
    struct Case {
        const char* selector;
        std::uint32_t row;
        const char* cells;
    } cases[] = {
        {"[Amount]", 0, "$C$3:$C$9"},
        {"[amount]", 0, "$C$3:$C$9"},
        {"[[Amount]]", 0, "$C$3:$C$9"},
        {"[]", 0, "$B$3:$E$9"},
        {"[#Data]", 0, "$B$3:$E$9"},
        {"[#All]", 0, "$B$2:$E$10"},
        {"[#Headers]", 0, "$B$2:$E$2"},
        {"[#Totals]", 0, "$B$10:$E$10"},
        {"[[#Headers],[Amount]]", 0, "$C$2"},
        {"[[#Totals],[Region]]", 0, "$B$10"},
        {"[[#Headers],[#Data],[Amount]]", 0, "$C$2:$C$9"},
        {"[[#Data],[#Totals],[Region]:[Amount]]", 0, "$B$3:$C$10"},
        {"[[#All],[Amount]]", 0, "$C$2:$C$10"},
        {"[[Region]:[Amount]]", 0, "$B$3:$C$9"},
        {"[[Amount]:[Region]]", 0, "$B$3:$C$9"},
        {"[[#Headers], [Region]:[Amount]]", 0, "$B$2:$C$2"},
        {"[Unit '[kg']]", 0, "$D$3:$D$9"},
        {"[[Note''s]]", 0, "$E$3:$E$9"},
        {"[@Amount]", 5, "$C5"},
        {"[@[Unit '[kg']]]", 5, "$D5"},
        {"[@]", 4, "$B4:$E4"},
        {"[[#This Row],[Amount]]", 9, "$C9"},
        {"[@[Region]:[Amount]]", 3, "$B3:$C3"},
        // What the table does not hold, or a row outside its data.
        {"[Nothing]", 0, "-"},
        {"[@Amount]", 0, "-"},
        {"[@Amount]", 2, "-"},
        {"[@Amount]", 10, "-"},
        {"[[#Headers],[#Totals]]", 0, "-"},
        {"[#Bogus]", 0, "-"},
        {"[[Region],[Amount]]", 0, "-"},
        {"[[Region]", 0, "-"},
        {"Amount", 0, "-"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(resolved(c.selector, t, c.row), c.cells) << c.selector << " row " << c.row;
}

TEST(StructuredReference, TablesWithoutHeadersOrTotals)
{
    TableShape t = sales();
    t.headerRows = 0;
    t.totalsRows = 0;
    EXPECT_EQ(resolved("[Amount]", t), "$C$2:$C$10");
    EXPECT_EQ(resolved("[#Headers]", t), "-");
    EXPECT_EQ(resolved("[#Totals]", t), "-");
    EXPECT_EQ(resolved("[[#Data],[#Totals],[Amount]]", t), "$C$2:$C$10");
    t.ref = {{2, 2}, {2, 5}};
    t.headerRows = 1;
    EXPECT_EQ(resolved("[Amount]", t), "-");  // a header and no data rows
    EXPECT_EQ(resolved("[[#Headers],[Amount]]", t), "$C$2");
}

TEST(StructuredReference, OtherSheetsTablesBecomeTheirRangesInTheSource)
{
    excel::ooxml::TableOnSheet onSales{0, sales()};
    excel::ooxml::ReferenceExternalizer ex(
        {"Sales 2024", "Data", "Calc"}, "Calc", {"OwnTable"}, 1, [&](const std::string& folded) {
            return folded == "salestbl" ? &onSales : nullptr;
        });
    bool changed = false;
    EXPECT_EQ(ex.rewrite("SUM(SalesTbl[Amount])+SalesTbl[@Amount]", changed, 4),
              "SUM('[1]Sales 2024'!$C$3:$C$9)+'[1]Sales 2024'!$C4");
    EXPECT_TRUE(changed);
    // Unknown tables and columns keep Excel's own form; the sheet's own tables stay.
    EXPECT_EQ(ex.rewrite("Other[X]+SalesTbl[Nope]+OwnTable[X]", changed),
              "[1]!Other[X]+[1]!SalesTbl[Nope]+OwnTable[X]");
    const auto& read = ex.rangesRead();
    ASSERT_EQ(read.count(0), 1u);
    ASSERT_EQ(read.at(0).size(), 2u);
    EXPECT_EQ(read.at(0)[0].first.row, 3u);
    EXPECT_EQ(read.at(0)[1].first.row, 2u);  // a "this row" reference caches its whole column
    EXPECT_EQ(read.at(0)[1].last.row, 10u);
}
