#pragma once
// A tokenizer for formulas as Office Open XML stores them (A1 style, no
// leading "=", [ECMA-376 Part 1, 18.17]). It knows enough of the grammar to
// find every reference exactly: quoted sheet names with doubled apostrophes,
// string literals, external-book prefixes ("[1]Sheet!A1"), 3D ranges
// ("Sheet1:Sheet3!A1"), structured references ("Table1[[#This Row],[Col]]"),
// error literals and array constants ("{1,\"a\";2,#N/A}"). Text it cannot
// place becomes an Unknown token and is kept as it was.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace excel::formula {

enum class TokenKind {
    Whitespace,
    Operator,    // + - * / ^ & = < > <= >= <> % , ; ( ) : @
    String,      // "text" with "" for a quote
    Number,
    Error,       // #REF! and the other error literals
    Array,       // a whole array constant {...}
    Function,    // a function name; the "(" follows as an Operator
    Reference,   // a cell, a range, a name or a structured reference, with its prefix if any
    Unknown,
};

struct Token {
    TokenKind kind = TokenKind::Unknown;
    std::size_t begin = 0;  // byte span in the formula
    std::size_t end = 0;

    // References only. A prefix is everything before the "!".
    bool hasPrefix = false;
    bool quoted = false;     // the prefix was written in apostrophes
    std::string book;        // inside "[...]" of the prefix, e.g. "1"
    std::string sheet;       // first sheet of the prefix, unquoted
    std::string lastSheet;   // last sheet of a 3D prefix, else empty
    std::string local;       // the part after "!" (or the whole operand without prefix)
    std::string table;       // a structured reference's table name ("" for "[@Col]")
    bool structured = false;

    std::string_view text(std::string_view formula) const { return formula.substr(begin, end - begin); }
};

// Never throws: malformed text yields Unknown tokens, and the tokens always
// cover the formula from its first byte to its last.
std::vector<Token> tokenize(std::string_view formula);

// "Sheet 1" -> "'Sheet 1'", "It's" -> "'It''s'", "Data" -> "Data".
std::string quoteSheetNameIfNeeded(const std::string& name);
// True when `name` can stand before "!" without apostrophes.
bool isPlainSheetName(const std::string& name);

}  // namespace excel::formula
