#include "ReferenceExternalizer.h"

#include "excel/formula/Tokenizer.h"
#include "excel/zip/ZipReader.h"
#include "platform/sys/AsciiCase.h"

namespace excel::ooxml {

using formula::TokenKind;

std::string foldName(const std::string& s) { return tb::foldAscii(s); }

ReferenceExternalizer::ReferenceExternalizer(std::vector<std::string> sheetNames, std::string ownSheet,
                                             std::set<std::string> ownTables, int bookIndex, TableLookup tables)
    : sheetNames_(std::move(sheetNames)), ownFolded_(foldName(ownSheet)), bookIndex_(bookIndex),
      tables_(std::move(tables))
{
    for (const auto& n : sheetNames_)
        foldedSheetNames_.push_back(foldName(n));
    for (const auto& t : ownTables)
        ownTables_.insert(foldName(t));
}

std::ptrdiff_t ReferenceExternalizer::sheetIndex(const std::string& name) const
{
    const std::string f = foldName(name);
    for (std::size_t i = 0; i < foldedSheetNames_.size(); ++i) {
        if (foldedSheetNames_[i] == f)
            return static_cast<std::ptrdiff_t>(i);
    }
    return -1;
}

namespace {
std::string quotedBody(const std::string& s)
{
    std::string out;
    for (char c : s) {
        if (c == '\'')
            out += '\'';
        out += c;
    }
    return out;
}

bool isBoolWord(const std::string& s)
{
    const std::string f = tb::foldAscii(s);
    return f == "true" || f == "false";
}
}  // namespace

std::string ReferenceExternalizer::tableRange(const std::string& table, const std::string& local, std::uint32_t row)
{
    const TableOnSheet* t = tables_ ? tables_(foldName(table)) : nullptr;
    if (!t || t->sheet >= sheetNames_.size() || foldedSheetNames_[t->sheet] == ownFolded_)
        return {};
    const auto area = formula::resolveStructured(std::string_view(local).substr(table.size()), t->shape, row);
    if (!area)
        return {};
    // The cache holds what every row of a "this row" reference can reach:
    // a shared formula moves it down the table.
    formula::CellRange cached = area->cells;
    if (area->thisRow) {
        cached.first.row = t->shape.ref.first.row;
        cached.last.row = t->shape.ref.last.row;
    }
    ranges_[t->sheet].push_back(cached);
    const std::string& sheet = sheetNames_[t->sheet];
    const std::string book = "[" + std::to_string(bookIndex_) + "]";
    const std::string prefix =
        formula::isPlainSheetName(sheet) ? book + sheet + "!" : "'" + book + quotedBody(sheet) + "'!";
    return prefix + formula::areaText(*area);
}

std::string ReferenceExternalizer::rewrite(const std::string& text, bool& changed, std::uint32_t row)
{
    changed = false;
    const auto tokens = formula::tokenize(text);
    std::string out;
    out.reserve(text.size() + 8);
    const std::string book = "[" + std::to_string(bookIndex_) + "]";
    for (const auto& t : tokens) {
        const auto raw = t.text(text);
        if (t.kind == TokenKind::Function) {
            names_.insert(foldName(std::string(raw)));
            out += raw;
            continue;
        }
        if (t.kind != TokenKind::Reference) {
            out += raw;
            continue;
        }
        if (!t.hasPrefix) {
            if (t.structured) {
                if (!t.table.empty() && !ownTables_.count(foldName(t.table))) {
                    if (std::string range = tableRange(t.table, t.local, row); !range.empty()) {
                        out += range;
                        changed = externalized_ = true;
                        continue;
                    }
                    out += book + "!";
                    out += raw;
                    changed = externalized_ = true;
                    continue;
                }
            } else if (!formula::parseRange(t.local) && !isBoolWord(t.local)) {
                names_.insert(foldName(t.local));
            }
            out += raw;
            continue;
        }
        if (!t.book.empty()) {
            // "[0]!Name" is this workbook's own name.
            if (t.book == "0" && t.sheet.empty())
                names_.insert(foldName(t.local));
            out += raw;
            continue;
        }
        const bool own = t.lastSheet.empty() && foldName(t.sheet) == ownFolded_;
        const auto first = sheetIndex(t.sheet);
        const auto last = t.lastSheet.empty() ? first : sheetIndex(t.lastSheet);
        if (own || first < 0 || last < 0) {
            out += raw;
            continue;
        }
        if (const auto range = formula::parseRange(t.local)) {
            for (auto i = std::min(first, last); i <= std::max(first, last); ++i)
                ranges_[static_cast<std::size_t>(i)].push_back(*range);
        }
        std::string sheets = t.sheet + (t.lastSheet.empty() ? "" : ":" + t.lastSheet);
        if (t.quoted)
            out += "'" + book + quotedBody(sheets) + "'!";
        else
            out += book + sheets + "!";
        out += t.local;
        changed = externalized_ = true;
    }
    return out;
}

}  // namespace excel::ooxml
