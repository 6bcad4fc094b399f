#include "StructuredReference.h"

#include "platform/sys/AsciiCase.h"

namespace excel::formula {

namespace {

enum Part : unsigned { All = 1, Data = 2, Headers = 4, Totals = 8, ThisRow = 16 };

struct Parsed {
    unsigned parts = 0;
    std::vector<std::string> columns;  // one, or the two ends of a range
    bool columnRange = false;
};

std::string_view trim(std::string_view s)
{
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t'))
        s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t'))
        s.remove_suffix(1);
    return s;
}

// A column name as written in a formula: "'" escapes the next character.
std::string unescape(std::string_view s)
{
    std::string out;
    for (std::size_t i = 0; i < s.size(); ++i) {
        if (s[i] == '\'' && i + 1 < s.size())
            ++i;
        out += s[i];
    }
    return out;
}

// Past the "]" that closes the "[" at `i`; npos when there is none.
std::size_t closing(std::string_view s, std::size_t i)
{
    for (++i; i < s.size(); ++i) {
        if (s[i] == '\'')
            ++i;
        else if (s[i] == ']')
            return i + 1;
        else if (s[i] == '[')
            return std::string_view::npos;
    }
    return std::string_view::npos;
}

unsigned special(std::string_view item)
{
    const std::string f = tb::foldAscii(std::string(trim(item)));
    if (f == "#all") return All;
    if (f == "#data") return Data;
    if (f == "#headers") return Headers;
    if (f == "#totals") return Totals;
    if (f == "#this row") return ThisRow;
    return 0;
}

// One item of a list, "[#Headers]" or "[Col]", added to `p`.
bool addItem(std::string_view item, Parsed& p)
{
    if (!item.empty() && item.front() == '#') {
        const unsigned s = special(item);
        if (s == 0)
            return false;
        p.parts |= s;
        return true;
    }
    p.columns.push_back(unescape(item));
    return true;
}

// "[A]", "[A]:[C]", "[#Headers],[A]:[C]" ...
bool parseList(std::string_view s, Parsed& p)
{
    std::size_t i = 0;
    bool afterColon = false;
    while (true) {
        while (i < s.size() && s[i] == ' ')
            ++i;
        if (i >= s.size() || s[i] != '[')
            return false;
        const std::size_t end = closing(s, i);
        if (end == std::string_view::npos)
            return false;
        const std::string_view item = s.substr(i + 1, end - i - 2);
        if (afterColon && (item.empty() || item.front() == '#'))
            return false;
        if (!addItem(item, p))
            return false;
        i = end;
        while (i < s.size() && s[i] == ' ')
            ++i;
        if (i == s.size())
            return true;
        if (s[i] == ':' && !afterColon && !item.empty() && item.front() != '#') {
            afterColon = p.columnRange = true;
        } else if (s[i] == ',') {
            afterColon = false;
        } else {
            return false;
        }
        ++i;
    }
}

std::optional<Parsed> parse(std::string_view selector)
{
    selector = trim(selector);
    if (selector.size() < 2 || selector.front() != '[' || selector.back() != ']')
        return std::nullopt;
    const std::string_view inner = trim(selector.substr(1, selector.size() - 2));
    Parsed p;
    if (inner.empty())
        return p;
    if (inner.front() == '@') {
        p.parts = ThisRow;
        const std::string_view rest = trim(inner.substr(1));
        if (rest.empty())
            return p;
        if (rest.front() == '[')
            return parseList(rest, p) && (p.parts == ThisRow) ? std::optional(p) : std::nullopt;
        p.columns.push_back(unescape(rest));
        return p;
    }
    if (inner.front() == '[')
        return parseList(inner, p) ? std::optional(p) : std::nullopt;
    if (!addItem(inner, p))
        return std::nullopt;
    return p;
}

std::optional<std::uint32_t> columnIndex(const TableShape& t, const std::string& name)
{
    const std::string f = tb::foldAscii(name);
    for (std::size_t i = 0; i < t.columns.size(); ++i)
        if (tb::foldAscii(t.columns[i]) == f)
            return static_cast<std::uint32_t>(i);
    return std::nullopt;
}

}  // namespace

std::optional<TableArea> resolveStructured(std::string_view selector, const TableShape& t, std::uint32_t row)
{
    const auto p = parse(selector);
    if (!p || t.ref.first.row > t.ref.last.row || t.ref.first.col > t.ref.last.col)
        return std::nullopt;
    const std::uint32_t top = t.ref.first.row, bottom = t.ref.last.row;
    const std::uint32_t dataTop = top + t.headerRows, dataBottom = bottom - std::min(t.totalsRows, bottom - top);
    TableArea a;
    switch (p->parts) {
    case 0:
    case Data: a.cells.first.row = dataTop, a.cells.last.row = dataBottom; break;
    case All: a.cells.first.row = top, a.cells.last.row = bottom; break;
    case Headers | Data: a.cells.first.row = top, a.cells.last.row = dataBottom; break;
    case Data | Totals: a.cells.first.row = dataTop, a.cells.last.row = bottom; break;
    case Headers:
        if (t.headerRows == 0)
            return std::nullopt;
        a.cells.first.row = a.cells.last.row = top;
        break;
    case Totals:
        if (t.totalsRows == 0)
            return std::nullopt;
        a.cells.first.row = a.cells.last.row = bottom;
        break;
    case ThisRow:
        if (row < dataTop || row > dataBottom)
            return std::nullopt;
        a.cells.first.row = a.cells.last.row = row;
        a.thisRow = true;
        break;
    default: return std::nullopt;
    }
    if (a.cells.first.row > a.cells.last.row)
        return std::nullopt;
    a.cells.first.col = t.ref.first.col;
    a.cells.last.col = t.ref.last.col;
    if (!p->columns.empty()) {
        if (p->columns.size() > 2 || (p->columns.size() == 2 && !p->columnRange))
            return std::nullopt;
        const auto c1 = columnIndex(t, p->columns.front());
        const auto c2 = columnIndex(t, p->columns.back());
        if (!c1 || !c2)
            return std::nullopt;
        a.cells.first.col = t.ref.first.col + std::min(*c1, *c2);
        a.cells.last.col = t.ref.first.col + std::max(*c1, *c2);
        if (a.cells.last.col > t.ref.last.col)
            return std::nullopt;
    }
    return a;
}

std::string areaText(const TableArea& a)
{
    auto cell = [&](const CellAddress& c) {
        return "$" + columnName(c.col) + (a.thisRow ? "" : "$") + std::to_string(c.row);
    };
    if (a.cells.first.row == a.cells.last.row && a.cells.first.col == a.cells.last.col)
        return cell(a.cells.first);
    return cell(a.cells.first) + ":" + cell(a.cells.last);
}

}  // namespace excel::formula
