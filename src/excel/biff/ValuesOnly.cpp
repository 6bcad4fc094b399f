#include "ValuesOnly.h"

#include "Formula.h"
#include "RecordTypes.h"
#include "Strings.h"

#include <algorithm>
#include <utility>

namespace excel::biff {

namespace {

constexpr std::uint16_t kDbCell = 0x00D7, kCondFmt = 0x01B0, kDval = 0x01B2;

std::uint32_t groupKey(std::uint16_t row, std::uint16_t col) { return (std::uint32_t{row} << 16) | col; }

// Old record starts (relative to the substream) and where they went.
class Moves {
public:
    void add(std::size_t from, std::size_t to) { moves_.emplace_back(from, to); }
    // A removed record maps to where the next record went.
    std::size_t operator()(std::size_t from) const
    {
        const auto it = std::lower_bound(moves_.begin(), moves_.end(), std::make_pair(from, std::size_t{0}));
        return it == moves_.end() ? (moves_.empty() ? from : moves_.back().second) : it->second;
    }

private:
    std::vector<std::pair<std::size_t, std::size_t>> moves_;
};

void emit(std::vector<std::byte>& out, std::uint16_t type, Bytes body)
{
    push16(out, type);
    push16(out, static_cast<std::uint16_t>(body.size()));
    append(out, body);
}

// The value a FORMULA record holds [MS-XLS 2.5.133 FormulaValue], as the cell
// record that holds it alone; `text` is the STRING record's body for a text.
void emitValue(std::vector<std::byte>& out, Bytes f, Bytes text)
{
    std::vector<std::byte> b(f.begin(), f.begin() + 6);  // row, column, XF
    if (u16(f, 12) != 0xFFFF) {
        append(b, f.subspan(6, 8));
        emit(out, rt::Number, b);
        return;
    }
    switch (u8(f, 6)) {
    case 0: {
        std::u16string s;
        std::size_t at = 2;
        if (text.size() >= 3)
            readStringNoCch(text, at, u16(text, 0), s);
        writeString16(b, s);
        emit(out, rt::Label, b);
        return;
    }
    case 1:
    case 2:
        push8(b, u8(f, 8));
        push8(b, u8(f, 6) == 2);
        emit(out, rt::BoolErr, b);
        return;
    default:
        writeString16(b, u"");
        emit(out, rt::Label, b);
    }
}

}  // namespace

BiffReach::BiffReach(std::function<Book(std::uint16_t)> bookOf, std::vector<Bytes> names)
    : bookOf_(std::move(bookOf)), names_(std::move(names))
{
}

bool BiffReach::name(std::uint16_t index)
{
    if (index == 0 || index >= names_.size())
        return false;
    if (const auto k = known_.find(index); k != known_.end())
        return k->second;
    known_[index] = false;
    const bool out = formula(names_[index]);
    known_[index] = out;
    return out;
}

bool BiffReach::formula(Bytes rgce)
{
    bool out = false;
    FormulaReader r;
    std::vector<std::uint16_t> names;
    r.ref = [&](const Ref3d& ref) { out = out || bookOf_(ref.ixti) == Book::Outside; };
    r.nameX = [&](std::uint16_t ixti, std::uint16_t index) {
        const Book b = bookOf_(ixti);
        out = out || b == Book::Outside;
        if (b == Book::Own)
            names.push_back(index);
    };
    r.name = [&](std::uint16_t index) { names.push_back(index); };
    readFormula(rgce, r);
    for (std::uint16_t n : names)
        out = name(n) || out;
    return out;
}

std::vector<std::byte> valuesOnlySheet(Bytes sheet, std::size_t start,
                                       const std::function<bool(const Record&)>& outside, ValuesReport& report,
                                       const StreamContext& ctx)
{
    // Shared and array formulas, by their first cell, which their cells' PtgExp name.
    std::map<std::uint32_t, bool> groups;
    {
        RecordReader reader(sheet, start, ctx, start);
        int depth = 0;
        while (!reader.atEnd()) {
            const Record r = reader.next();
            depth += r.type == rt::Bof ? 1 : r.type == rt::Eof ? -1 : 0;
            if (depth == 1 && (r.type == rt::ShrFmla || r.type == rt::Array) && r.body.size() >= 6)
                groups[groupKey(u16(r.body, 0), u8(r.body, 4))] = outside(r);
        }
    }
    auto cellOutside = [&](const Record& r) {
        if (r.body.size() >= 27 && u16(r.body, 20) == 5 && u8(r.body, 22) == 0x01) {  // PtgExp
            const auto g = groups.find(groupKey(u16(r.body, 23), u16(r.body, 25)));
            return g != groups.end() && g->second;
        }
        return outside(r);
    };

    std::vector<std::byte> out;
    out.reserve(sheet.size());
    Moves moves;
    std::vector<std::pair<std::size_t, std::size_t>> fixups;  // INDEX and DBCELL records: old and new offset
    std::vector<Record> pending;      // a DVAL or CONDFMT with the records that belong to it
    RecordReader reader(sheet, start, ctx, start);
    int depth = 0;
    auto rel = [&](const Record& r) { return r.offset - start; };
    auto keep = [&](const Record& r) {
        moves.add(rel(r), out.size());
        if (r.type == rt::Index || r.type == kDbCell)
            fixups.emplace_back(rel(r), out.size());
        emit(out, r.type, r.body);
    };
    auto drop = [&](const Record& r) { moves.add(rel(r), out.size()); };
    // A DVAL and its DVs, or a CONDFMT and its CFs: those that reach outside
    // go, and the head with them when none is left.
    auto flush = [&]() {
        if (pending.empty())
            return;
        std::size_t kept = 0;
        std::vector<bool> stays(pending.size(), true);
        for (std::size_t i = 1; i < pending.size(); ++i) {
            stays[i] = !outside(pending[i]);
            kept += stays[i];
            if (!stays[i])
                ++(pending[0].type == kDval ? report.validations : report.conditionalFormats);
        }
        for (std::size_t i = 0; i < pending.size(); ++i) {
            if (i == 0 && kept == 0) {
                drop(pending[0]);
            } else if (!stays[i]) {
                drop(pending[i]);
            } else {
                const std::size_t at = out.size();
                keep(pending[i]);
                if (i == 0 && pending[0].type == kDval && pending[0].body.size() >= 18)
                    put32(out, at + 4 + 14, static_cast<std::uint32_t>(kept));
                else if (i == 0 && pending[0].body.size() >= 2)
                    put16(out, at + 4, static_cast<std::uint16_t>(kept));
            }
        }
        pending.clear();
    };
    while (!reader.atEnd()) {
        const Record r = reader.next();
        depth += r.type == rt::Bof ? 1 : 0;
        const bool cell = depth == 1;
        depth -= r.type == rt::Eof ? 1 : 0;
        if (!pending.empty() && !(r.type == (pending[0].type == kDval ? rt::Dv : rt::Cf) && cell))
            flush();
        if (cell && (r.type == kDval || r.type == kCondFmt)) {
            pending.push_back(r);
        } else if (!pending.empty()) {
            pending.push_back(r);
        } else if (cell && r.type == rt::Formula && r.body.size() >= 20 && cellOutside(r)) {
            moves.add(rel(r), out.size());
            Bytes text;
            if (reader.peekType() == rt::String) {
                const Record s = reader.next();
                drop(s);
                text = s.body;
            }
            emitValue(out, r.body, text);
            ++report.formulas;
        } else if (cell && (r.type == rt::ShrFmla || r.type == rt::Array) && r.body.size() >= 6 &&
                   groups[groupKey(u16(r.body, 0), u8(r.body, 4))]) {
            drop(r);
        } else {
            keep(r);
        }
    }
    flush();

    // The row index: INDEX holds stream positions, DBCELL distances between records.
    for (const auto& [old, at] : fixups) {
        const std::size_t body = at + 4, size = u16(Bytes(out), at + 2);
        if (u16(Bytes(out), at) == rt::Index) {
            for (std::size_t i = 12; i + 4 <= size; i += 4)
                if (const std::uint32_t p = u32(Bytes(out), body + i); p >= start)
                    put32(out, body + i, static_cast<std::uint32_t>(start + moves(p - start)));
            continue;
        }
        // DBCELL: dbRtrw back to the block's first ROW; rgdb from the end of
        // that ROW to each row's first cell, each from the one before.
        const std::uint32_t back = size >= 4 ? u32(Bytes(out), body) : 0;
        if (back == 0 || back > old || old - back + 4 > sheet.size())
            continue;
        const std::size_t row = old - back;
        put32(out, body, static_cast<std::uint32_t>(at - moves(row)));
        std::size_t anchor = row + 4 + u16(sheet, row + 2);
        for (std::size_t i = 4; i + 2 <= size; i += 2) {
            const std::size_t target = anchor + u16(Bytes(out), body + i);
            put16(out, body + i, static_cast<std::uint16_t>(moves(target) - moves(anchor)));
            anchor = target;
        }
    }
    return out;
}

}  // namespace excel::biff
