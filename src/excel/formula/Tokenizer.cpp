#include "Tokenizer.h"

#include "CellRange.h"

#include <array>

namespace excel::formula {

namespace {

constexpr std::array<std::string_view, 16> kErrors{
    "#NULL!", "#DIV/0!", "#VALUE!", "#REF!", "#NAME?", "#NUM!", "#N/A", "#GETTING_DATA",
    "#SPILL!", "#CALC!", "#FIELD!", "#BLOCKED!", "#CONNECT!", "#BUSY!", "#UNKNOWN!", "#PYTHON!"};

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Characters of an unquoted name, sheet name or cell address. Bytes of
// multi-byte UTF-8 sequences count as name characters, as Excel allows
// letters of any script.
bool isWordChar(char c)
{
    const auto u = static_cast<unsigned char>(c);
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || isDigit(c) || c == '_' || c == '.' || c == '\\' ||
           c == '$' || c == '?' || u >= 0x80;
}

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

class Scanner {
public:
    explicit Scanner(std::string_view f) : f_(f) {}

    std::vector<Token> run()
    {
        while (pos_ < f_.size())
            next();
        return std::move(out_);
    }

private:
    char at(std::size_t i) const { return i < f_.size() ? f_[i] : '\0'; }

    void emit(Token t) { out_.push_back(std::move(t)); }

    void simple(TokenKind kind, std::size_t end)
    {
        Token t;
        t.kind = kind;
        t.begin = pos_;
        t.end = end;
        emit(std::move(t));
        pos_ = end;
    }

    // Past a "..." literal starting at i (at the opening quote); npos when unterminated.
    std::size_t skipString(std::size_t i) const
    {
        for (++i; i < f_.size(); ++i) {
            if (f_[i] == '"') {
                if (at(i + 1) == '"') {
                    ++i;
                    continue;
                }
                return i + 1;
            }
        }
        return std::string_view::npos;
    }

    // Past a bracket group starting at i (at "["), nested brackets counted and
    // "'" escaping the next character as structured references do.
    std::size_t skipBrackets(std::size_t i) const
    {
        int depth = 0;
        for (; i < f_.size(); ++i) {
            const char c = f_[i];
            if (c == '\'') {
                ++i;
                continue;
            }
            if (c == '[')
                ++depth;
            else if (c == ']' && --depth == 0)
                return i + 1;
        }
        return std::string_view::npos;
    }

    std::size_t skipWord(std::size_t i) const
    {
        while (i < f_.size() && isWordChar(f_[i]))
            ++i;
        return i;
    }

    std::size_t errorLiteralAt(std::size_t i) const
    {
        for (auto e : kErrors) {
            if (f_.size() - i >= e.size()) {
                bool same = true;
                for (std::size_t k = 0; k < e.size() && same; ++k) {
                    char c = f_[i + k];
                    if (c >= 'a' && c <= 'z')
                        c = static_cast<char>(c - 'a' + 'A');
                    same = c == e[k];
                }
                if (same)
                    return i + e.size();
            }
        }
        return std::string_view::npos;
    }

    // The part of a reference after "!" or the whole of one without prefix:
    // a cell or range ("A1", "$A:$C", "1:2"), a name, or #REF!.
    std::size_t readLocal(std::size_t i) const
    {
        if (at(i) == '#') {
            const auto e = errorLiteralAt(i);
            return e == std::string_view::npos ? i : e;
        }
        std::size_t j = skipWord(i);
        if (j == i)
            return i;
        if (at(j) == '[')  // a table's name then its bracket group
            return extendStructured(j);
        if (at(j) == ':') {
            const std::size_t k = skipWord(j + 1);
            if (k > j + 1 && at(k) != '!' && at(k) != '(')
                return k;
        }
        return j;
    }

    std::size_t extendStructured(std::size_t j) const
    {
        const auto e = skipBrackets(j);
        return e == std::string_view::npos ? f_.size() : e;
    }

    void splitSheets(Token& t, std::string_view inner)
    {
        // inner: [book]sheet, [book]sheet1:sheet2, sheet, sheet1:sheet2, or
        // path\[book]sheet; apostrophes already undoubled.
        std::string s(inner);
        const auto close = s.find(']');
        if (s.find('[') != std::string::npos && close != std::string::npos) {
            const auto open = s.find('[');
            t.book = s.substr(open + 1, close - open - 1);
            if (open > 0)
                t.book = s.substr(0, open) + "[" + t.book + "]";  // a path kept whole
            s = s.substr(close + 1);
        }
        const auto colon = s.find(':');
        if (colon != std::string::npos) {
            t.sheet = s.substr(0, colon);
            t.lastSheet = s.substr(colon + 1);
        } else {
            t.sheet = s;
        }
    }

    void finishReference(Token& t, std::size_t localBegin, std::size_t end)
    {
        t.kind = TokenKind::Reference;
        t.end = end;
        t.local = std::string(f_.substr(localBegin, end - localBegin));
        const auto br = t.local.find('[');
        if (br != std::string::npos && t.local.find('#') != 0) {
            t.structured = true;
            t.table = t.local.substr(0, br);
        }
        pos_ = end;
        emit(std::move(t));
    }

    void quotedPrefix()
    {
        std::string inner;
        std::size_t i = pos_ + 1;
        bool closed = false;
        for (; i < f_.size(); ++i) {
            if (f_[i] == '\'') {
                if (at(i + 1) == '\'') {
                    inner += '\'';
                    ++i;
                    continue;
                }
                closed = true;
                ++i;
                break;
            }
            inner += f_[i];
        }
        if (!closed || at(i) != '!') {
            simple(TokenKind::Unknown, closed ? i : f_.size());
            return;
        }
        Token t;
        t.begin = pos_;
        t.hasPrefix = true;
        t.quoted = true;
        splitSheets(t, inner);
        const std::size_t localBegin = i + 1;
        finishReference(t, localBegin, readLocal(localBegin));
    }

    void bracketStart()
    {
        // "[1]Sheet!A1", "[1]!Name", or a structured reference without a
        // table name ("[@Col]", "[#This Row]").
        const auto close = skipBrackets(pos_);
        if (close == std::string_view::npos) {
            simple(TokenKind::Unknown, f_.size());
            return;
        }
        const std::size_t w = skipWord(close);
        std::size_t bang = w;
        if (at(w) == ':')
            bang = skipWord(w + 1);
        if (at(bang) == '!') {
            unquotedPrefixReference(bang);
            return;
        }
        Token t;
        t.begin = pos_;
        finishReference(t, pos_, close);
    }

    // A reference whose unquoted sheet prefix runs from here to the "!" at `bang`.
    void unquotedPrefixReference(std::size_t bang)
    {
        Token t;
        t.begin = pos_;
        t.hasPrefix = true;
        splitSheets(t, f_.substr(pos_, bang - pos_));
        finishReference(t, bang + 1, readLocal(bang + 1));
    }

    void word()
    {
        const std::size_t w = skipWord(pos_);
        const char c = at(w);
        if (c == '(') {
            simple(TokenKind::Function, w);
            return;
        }
        if (c == '!') {
            unquotedPrefixReference(w);
            return;
        }
        if (c == ':') {
            const std::size_t w2 = skipWord(w + 1);
            if (w2 > w + 1 && at(w2) == '!') {  // Sheet1:Sheet3!A1
                unquotedPrefixReference(w2);
                return;
            }
            if (at(w + 1) == '\'') {  // Sheet1:'Sheet 3'!A1, as some writers put it
                std::string last;
                std::size_t i = w + 2;
                for (; i < f_.size(); ++i) {
                    if (f_[i] == '\'') {
                        if (at(i + 1) != '\'')
                            break;
                        ++i;
                    }
                    last += f_[i];
                }
                if (i < f_.size() && at(i + 1) == '!') {
                    Token t;
                    t.begin = pos_;
                    t.hasPrefix = true;
                    t.quoted = true;
                    t.sheet = std::string(f_.substr(pos_, w - pos_));
                    t.lastSheet = last;
                    finishReference(t, i + 2, readLocal(i + 2));
                    return;
                }
            }
        }
        Token t;
        t.begin = pos_;
        finishReference(t, pos_, readLocal(pos_));
    }

    void number()
    {
        // A row range ("1:3") reads as a reference.
        std::size_t i = pos_;
        while (isDigit(at(i)))
            ++i;
        if (at(i) == ':' && i > pos_) {
            std::size_t j = i + 1;
            if (at(j) == '$')
                ++j;
            const std::size_t k = j;
            while (isDigit(at(j)))
                ++j;
            if (j > k && !isWordChar(at(j))) {
                Token t;
                t.begin = pos_;
                finishReference(t, pos_, j);
                return;
            }
        }
        if (at(i) == '.') {
            ++i;
            while (isDigit(at(i)))
                ++i;
        }
        if ((at(i) == 'E' || at(i) == 'e') &&
            (isDigit(at(i + 1)) || ((at(i + 1) == '+' || at(i + 1) == '-') && isDigit(at(i + 2))))) {
            i += 2;
            while (isDigit(at(i)))
                ++i;
        }
        // "1abc" is not a number; keep it whole as something we do not place.
        if (isWordChar(at(i)) && at(i) != '.') {
            simple(TokenKind::Unknown, skipWord(i));
            return;
        }
        simple(TokenKind::Number, i);
    }

    void next()
    {
        const char c = f_[pos_];
        if (isSpace(c)) {
            std::size_t i = pos_;
            while (i < f_.size() && isSpace(f_[i]))
                ++i;
            simple(TokenKind::Whitespace, i);
            return;
        }
        switch (c) {
        case '"': {
            const auto e = skipString(pos_);
            simple(e == std::string_view::npos ? TokenKind::Unknown : TokenKind::String,
                   e == std::string_view::npos ? f_.size() : e);
            return;
        }
        case '\'':
            quotedPrefix();
            return;
        case '[':
            bracketStart();
            return;
        case '#': {
            const auto e = errorLiteralAt(pos_);
            if (e == std::string_view::npos)
                simple(TokenKind::Unknown, pos_ + 1);
            else
                simple(TokenKind::Error, e);
            return;
        }
        case '{': {
            std::size_t i = pos_ + 1;
            while (i < f_.size() && f_[i] != '}') {
                if (f_[i] == '"') {
                    const auto e = skipString(i);
                    i = e == std::string_view::npos ? f_.size() : e;
                } else {
                    ++i;
                }
            }
            simple(i < f_.size() ? TokenKind::Array : TokenKind::Unknown, i < f_.size() ? i + 1 : f_.size());
            return;
        }
        case '<':
            simple(TokenKind::Operator, pos_ + ((at(pos_ + 1) == '=' || at(pos_ + 1) == '>') ? 2 : 1));
            return;
        case '>':
            simple(TokenKind::Operator, pos_ + (at(pos_ + 1) == '=' ? 2 : 1));
            return;
        case '+': case '-': case '*': case '/': case '^': case '&': case '=': case '%':
        case ',': case ';': case '(': case ')': case ':': case '@':
            simple(TokenKind::Operator, pos_ + 1);
            return;
        default:
            break;
        }
        if (isDigit(c) || (c == '.' && isDigit(at(pos_ + 1)))) {
            number();
            return;
        }
        if (isWordChar(c)) {
            word();
            return;
        }
        simple(TokenKind::Unknown, pos_ + 1);
    }

    std::string_view f_;
    std::size_t pos_ = 0;
    std::vector<Token> out_;
};

bool looksLikeCellOrRowCol(const std::string& s)
{
    if (parseCell(s) || parseRange(s))
        return true;
    // R1C1-style words ("R", "C", "R1C1", "RC2") would be read as references.
    std::size_t i = 0;
    auto upper = [&](std::size_t k) { return static_cast<char>(s[k] & ~0x20); };
    if (i < s.size() && upper(i) == 'R') {
        ++i;
        while (i < s.size() && isDigit(s[i]))
            ++i;
    }
    if (i < s.size() && upper(i) == 'C') {
        ++i;
        while (i < s.size() && isDigit(s[i]))
            ++i;
    }
    return i == s.size() && !s.empty();
}

}  // namespace

std::vector<Token> tokenize(std::string_view formula) { return Scanner(formula).run(); }

bool isPlainSheetName(const std::string& name)
{
    if (name.empty())
        return false;
    const unsigned char first = static_cast<unsigned char>(name[0]);
    if (isDigit(name[0]) || name[0] == '.' || name[0] == '$' || name[0] == '?')
        return false;
    (void)first;
    for (char c : name) {
        if (!isWordChar(c) || c == '$' || c == '?')
            return false;
        if (static_cast<unsigned char>(c) >= 0x80)
            return false;  // Excel quotes names in other scripts; so do we
    }
    std::string upper = name;
    for (char& c : upper) {
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    }
    if (upper == "TRUE" || upper == "FALSE")
        return false;
    return !looksLikeCellOrRowCol(name);
}

std::string quoteSheetNameIfNeeded(const std::string& name)
{
    if (isPlainSheetName(name))
        return name;
    std::string out = "'";
    for (char c : name) {
        if (c == '\'')
            out += '\'';
        out += c;
    }
    out += '\'';
    return out;
}

}  // namespace excel::formula
