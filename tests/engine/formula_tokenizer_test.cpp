#include "excel/formula/CellRange.h"
#include "excel/formula/Tokenizer.h"

#include <gtest/gtest.h>

using excel::formula::Token;
using excel::formula::TokenKind;
using excel::formula::tokenize;

namespace {

std::vector<Token> refs(const std::string& f)
{
    std::vector<Token> out;
    for (auto& t : tokenize(f)) {
        if (t.kind == TokenKind::Reference)
            out.push_back(t);
    }
    return out;
}

}  // namespace

TEST(FormulaTokenizer, TokensCoverTheWholeFormulaInOrder)
{
    const char* formulas[] = {
        "SUM('It''s'!A1:B2,[1]Data!$C$3)*2",
        "IF(A1>2,\"x\"\"y!A1\",#N/A)",
        "{1,\"a}\";2,#DIV/0!}+Table1[[#This Row],[Col ']]]]",
        "'Sheet 1:Sheet 3'!A1 Sheet2!B:B",
        "1.5E+3%-.5^2&\"\"<>TRUE",
        "'unterminated",
        "\"unterminated",
        "[broken",
        "#WHAT? ~ ` |",
        "_xlfn.XLOOKUP(1,A:A,1:1)",
        "",
    };
    for (const char* f : formulas) {
        std::size_t at = 0;
        for (const auto& t : tokenize(f)) {
            EXPECT_EQ(t.begin, at) << f;
            EXPECT_GT(t.end, t.begin) << f;
            at = t.end;
        }
        EXPECT_EQ(at, std::string(f).size()) << f;
    }
}

TEST(FormulaTokenizer, QuotedSheetNamesUndoubleApostrophes)
{
    auto r = refs("'It''s here'!$A$1+1");
    ASSERT_EQ(r.size(), 1u);
    EXPECT_TRUE(r[0].hasPrefix);
    EXPECT_TRUE(r[0].quoted);
    EXPECT_EQ(r[0].sheet, "It's here");
    EXPECT_EQ(r[0].local, "$A$1");
    EXPECT_TRUE(r[0].book.empty());
}

TEST(FormulaTokenizer, StringsAreNeverReferences)
{
    auto r = refs("CONCAT(\"Sheet2!A1\",\"'x'!B2\")");
    EXPECT_TRUE(r.empty());
}

TEST(FormulaTokenizer, ExternalBooksThreeDRangesAndRanges)
{
    auto r = refs("[1]Data!A1:B2+Sheet1:Sheet3!C5+'[2]My S'!D4+Data:'It''s'!A1");
    ASSERT_EQ(r.size(), 4u);
    EXPECT_EQ(r[0].book, "1");
    EXPECT_EQ(r[0].sheet, "Data");
    EXPECT_EQ(r[0].local, "A1:B2");
    EXPECT_EQ(r[1].sheet, "Sheet1");
    EXPECT_EQ(r[1].lastSheet, "Sheet3");
    EXPECT_EQ(r[1].local, "C5");
    EXPECT_EQ(r[2].book, "2");
    EXPECT_EQ(r[2].sheet, "My S");
    EXPECT_EQ(r[3].sheet, "Data");
    EXPECT_EQ(r[3].lastSheet, "It's");
}

TEST(FormulaTokenizer, StructuredReferencesAreOneToken)
{
    auto r = refs("SUM(Table1[[#This Row],[Amount '[x']]])+[@Col]");
    ASSERT_EQ(r.size(), 2u);
    EXPECT_TRUE(r[0].structured);
    EXPECT_EQ(r[0].table, "Table1");
    EXPECT_EQ(r[0].local, "Table1[[#This Row],[Amount '[x']]]");
    EXPECT_TRUE(r[1].structured);
    EXPECT_EQ(r[1].table, "");
}

TEST(FormulaTokenizer, ErrorsArraysNumbersAndFunctions)
{
    const std::string f = "IFERROR(Sheet2!#REF!,{1,\"}\";#N/A,2})+1.5e-3";
    auto tokens = tokenize(f);
    std::vector<std::pair<TokenKind, std::string>> got;
    for (auto& t : tokens)
        got.emplace_back(t.kind, std::string(t.text(f)));
    ASSERT_EQ(got.size(), 8u);
    EXPECT_EQ(got[0], std::make_pair(TokenKind::Function, std::string("IFERROR")));
    EXPECT_EQ(got[2].first, TokenKind::Reference);
    EXPECT_EQ(got[2].second, "Sheet2!#REF!");
    EXPECT_EQ(got[4], std::make_pair(TokenKind::Array, std::string("{1,\"}\";#N/A,2}")));
    EXPECT_EQ(got[7], std::make_pair(TokenKind::Number, std::string("1.5e-3")));
}

TEST(FormulaTokenizer, RowRangesAreReferencesNotNumbers)
{
    auto r = refs("SUM(1:3,$5:$5)");
    ASSERT_EQ(r.size(), 2u);
    EXPECT_EQ(r[0].local, "1:3");
    EXPECT_EQ(r[1].local, "$5:$5");
}

TEST(FormulaTokenizer, SheetNamesAreQuotedOnlyWhenNeeded)
{
    using excel::formula::quoteSheetNameIfNeeded;
    EXPECT_EQ(quoteSheetNameIfNeeded("Data"), "Data");
    EXPECT_EQ(quoteSheetNameIfNeeded("My Data"), "'My Data'");
    EXPECT_EQ(quoteSheetNameIfNeeded("It's"), "'It''s'");
    EXPECT_EQ(quoteSheetNameIfNeeded("A1"), "'A1'");
    EXPECT_EQ(quoteSheetNameIfNeeded("R1C1"), "'R1C1'");
    EXPECT_EQ(quoteSheetNameIfNeeded("2019"), "'2019'");
    EXPECT_EQ(quoteSheetNameIfNeeded("TRUE"), "'TRUE'");
}

TEST(CellRange, ParsesCellsColumnsAndRows)
{
    using namespace excel::formula;
    auto c = parseRange("$B$2:A10");
    ASSERT_TRUE(c);
    EXPECT_EQ(c->first.row, 2u);
    EXPECT_EQ(c->first.col, 1u);
    EXPECT_EQ(c->last.row, 10u);
    EXPECT_EQ(c->last.col, 2u);
    auto cols = parseRange("A:C");
    ASSERT_TRUE(cols);
    EXPECT_EQ(cols->last.row, kMaxRow);
    auto rows = parseRange("3:4");
    ASSERT_TRUE(rows);
    EXPECT_EQ(rows->last.col, kMaxCol);
    EXPECT_FALSE(parseRange("Rate"));
    EXPECT_FALSE(parseRange("XFE1"));
    EXPECT_FALSE(parseRange("A1048577"));
    EXPECT_EQ(columnName(28), "AB");
}
