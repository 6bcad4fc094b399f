#include "ExternalCache.h"

#include "RecordTypes.h"
#include "Strings.h"

#include <algorithm>
#include <cstring>

namespace excel::biff {

namespace {

constexpr std::size_t kRows = 65536, kCols = 256;
constexpr std::size_t kMaxRecordData = 8224;
constexpr std::size_t kMaxCrnPerXct = 0x7FFF;
constexpr std::size_t kLargestValue = 1 + 3 + 2 * 255;  // a string of 255 UTF-16 units

// The cached values of one sheet's reached cells. A cell is a small plain
// record, its text (kept to 255 units, as Excel keeps cached external text)
// in one buffer for them all: a sheet can give tens of thousands of cells.
enum Kind : std::uint8_t { Number = 0x01, Text = 0x02, Boolean = 0x04, Error = 0x10 };
constexpr std::size_t kMaxText = 255;

struct Cell {
    double number = 0;
    std::uint32_t textAt = 0;  // into Values::texts
    std::uint16_t row = 0;
    std::uint8_t col = 0;
    Kind kind = Number;
    std::uint8_t code = 0;  // the boolean or the error
    std::uint8_t textSize = 0;
};

struct Values {
    std::vector<Cell> cells;
    std::u16string texts;

    void number(std::uint16_t row, std::size_t col, double d) { add(row, col, Number).number = d; }
    void code(std::uint16_t row, std::size_t col, Kind k, std::uint8_t v) { add(row, col, k).code = v; }
    // A text as stored: a byte a character, or two (UTF-16LE) when `wide`.
    void text(std::uint16_t row, std::size_t col, Bytes chars, bool wide)
    {
        Cell& c = addText(row, col, wide ? chars.size() / 2 : chars.size());
        for (std::size_t i = 0; i < c.textSize; ++i)
            texts.push_back(wide ? static_cast<char16_t>(u16(chars, 2 * i)) : static_cast<char16_t>(u8(chars, i)));
    }
    void text(std::uint16_t row, std::size_t col, const std::u16string& t)
    {
        texts.append(t, 0, addText(row, col, t.size()).textSize);
    }

private:
    Cell& add(std::uint16_t row, std::size_t col, Kind k)
    {
        Cell& c = cells.emplace_back();
        c.row = row, c.col = static_cast<std::uint8_t>(col), c.kind = k;
        return c;
    }
    // A text cell of `size` units, kept to kMaxText; its units go next in `texts`.
    Cell& addText(std::uint16_t row, std::size_t col, std::size_t size)
    {
        Cell& c = add(row, col, Text);
        c.textAt = static_cast<std::uint32_t>(texts.size());
        c.textSize = static_cast<std::uint8_t>(std::min(size, kMaxText));
        return c;
    }
};

// An RK number [MS-XLS 2.5.218].
double rkValue(std::uint32_t rk)
{
    double d;
    if (rk & 0x02) {
        d = static_cast<double>(static_cast<std::int32_t>(rk) >> 2);
    } else {
        const std::uint64_t bits = static_cast<std::uint64_t>(rk & 0xFFFFFFFC) << 32;
        std::memcpy(&d, &bits, sizeof d);
    }
    return (rk & 0x01) ? d / 100 : d;
}

double number(Bytes b, std::size_t at)
{
    std::uint64_t bits = static_cast<std::uint64_t>(u32(b, at)) | (static_cast<std::uint64_t>(u32(b, at + 4)) << 32);
    double d;
    std::memcpy(&d, &bits, sizeof d);
    return d;
}

// The cells of the areas, as bits over the box that holds them all: most
// references reach a few rows and columns, and the whole grid would be 2 MB.
class Marks {
public:
    explicit Marks(const std::vector<CellArea>& areas)
    {
        if (areas.empty())
            return;
        top_ = kRows, left_ = kCols;
        std::size_t bottom = 0, right = 0;
        for (const CellArea& a : areas) {
            top_ = std::min<std::size_t>(top_, a.rowFirst);
            left_ = std::min<std::size_t>(left_, a.colFirst);
            bottom = std::max<std::size_t>(bottom, std::min<std::size_t>(a.rowLast, kRows - 1));
            right = std::max<std::size_t>(right, std::min<std::size_t>(a.colLast, kCols - 1));
        }
        if (top_ > bottom || left_ > right)
            return;
        height_ = bottom - top_ + 1;
        width_ = right - left_ + 1;
        bits_.assign(height_ * width_, false);
        for (const CellArea& a : areas)
            for (std::size_t r = a.rowFirst; r <= a.rowLast && r < kRows; ++r)
                for (std::size_t c = a.colFirst; c <= a.colLast && c < kCols; ++c)
                    bits_[(r - top_) * width_ + (c - left_)] = true;
    }
    bool operator()(std::size_t r, std::size_t c) const
    {
        return r >= top_ && c >= left_ && r - top_ < height_ && c - left_ < width_ &&
               bits_[(r - top_) * width_ + (c - left_)];
    }

private:
    std::size_t top_ = 0, left_ = 0, height_ = 0, width_ = 0;
    std::vector<bool> bits_;
};

// The values of one sheet's cells that lie in a marked area, from the
// sheet's records in `reader`.
Values sheetValues(SubstreamRecords& reader, const SstTable& strings, const Marks& in)
{
    Values v;
    int depth = 0;
    while (!reader.atEnd()) {
        const Record r = reader.next();
        const Bytes b = r.body;
        if (r.type == rt::Bof) {
            ++depth;
            continue;
        }
        if (r.type == rt::Eof) {
            if (--depth <= 0)
                break;
            continue;
        }
        if (depth != 1 || b.size() < 6)
            continue;
        const std::uint16_t row = u16(b, 0), col = u16(b, 2);
        switch (r.type) {
        case rt::Number:
            if (b.size() >= 14 && in(row, col))
                v.number(row, col, number(b, 6));
            break;
        case rt::Rk:
            if (b.size() >= 10 && in(row, col))
                v.number(row, col, rkValue(u32(b, 6)));
            break;
        case rt::MulRk:
            for (std::size_t c = col, at = 4; at + 6 <= b.size() - 2; ++c, at += 6)
                if (in(row, c))
                    v.number(row, c, rkValue(u32(b, at + 2)));
            break;
        case rt::LabelSst:
            if (b.size() >= 10 && in(row, col) && u32(b, 6) < strings.size()) {
                const SstString str = strings[u32(b, 6)];
                v.text(row, col, str.chars, str.wide);
            }
            break;
        case rt::Label: {
            std::u16string s;
            std::size_t at = 8;
            if (b.size() >= 9 && in(row, col) && readStringNoCch(b, at, u16(b, 6), s))
                v.text(row, col, s);
            break;
        }
        case rt::BoolErr:
            if (b.size() >= 8 && in(row, col)) {
                v.code(row, col, u8(b, 7) ? Error : Boolean, u8(b, 6));
            }
            break;
        case rt::Formula: {
            if (b.size() < 14 || !in(row, col))
                break;
            if (u16(b, 12) != 0xFFFF) {
                v.number(row, col, number(b, 6));
                break;
            }
            switch (u8(b, 6)) {
            case 0: {  // a string, in the STRING record that follows
                if (reader.peekType() != rt::String)
                    break;
                const Record s = reader.next();
                std::u16string text;
                std::size_t at = 2;
                if (s.body.size() >= 3 && readStringNoCch(s.body, at, u16(s.body, 0), text))
                    v.text(row, col, text);
                break;
            }
            case 1: v.code(row, col, Boolean, u8(b, 8)); break;
            case 2: v.code(row, col, Error, u8(b, 8)); break;
            case 3: v.text(row, col, Bytes{}, false); break;
            default: break;
            }
            break;
        }
        default: break;
        }
    }
    const auto byPlace = [](const Cell& a, const Cell& b) { return a.row != b.row ? a.row < b.row : a.col < b.col; };
    if (!std::is_sorted(v.cells.begin(), v.cells.end(), byPlace))  // rows come in order in most files
        std::sort(v.cells.begin(), v.cells.end(), byPlace);
    return v;
}

void pushValue(std::vector<std::byte>& out, const Cell& c, const std::u16string& texts)
{
    push8(out, c.kind);
    if (c.kind == Number) {
        std::uint64_t bits;
        std::memcpy(&bits, &c.number, sizeof bits);
        push32(out, static_cast<std::uint32_t>(bits));
        push32(out, static_cast<std::uint32_t>(bits >> 32));
    } else if (c.kind == Text) {
        writeString16(out, std::u16string_view(texts).substr(c.textAt, c.textSize));
    } else {
        push8(out, c.code);
        for (int i = 0; i < 7; ++i)
            push8(out, 0);
    }
}

}  // namespace

std::vector<std::byte> externalCache(Substreams& sheets, const Globals& globals, const SstTable& strings,
                                     const std::map<std::uint16_t, std::vector<CellArea>>& wanted,
                                     const StreamContext& ctx)
{
    std::vector<std::byte> out;
    for (const auto& [tab, areas] : wanted) {
        if (tab >= globals.sheets.size() || globals.sheets[tab].type != static_cast<std::uint8_t>(SheetType::Worksheet))
            continue;
        if (globals.sheets[tab].position >= sheets.size())
            continue;
        SubstreamRecords reader(sheets, globals.sheets[tab].position, ctx);
        const Marks marked(areas);
        const Values values = sheetValues(reader, strings, marked);
        const auto& cells = values.cells;

        // One CRN for each run of neighbouring cells in a row, within the
        // record's size; one XCT in front of each group of CRNs.
        std::vector<std::byte> crns;
        std::vector<std::size_t> starts;  // of each CRN in crns
        for (std::size_t i = 0; i < cells.size();) {
            const std::size_t at = crns.size();
            starts.push_back(at);
            push16(crns, rt::Crn);
            push16(crns, 0);
            push16(crns, 0);
            push16(crns, cells[i].row);
            const std::uint8_t first = cells[i].col;
            std::size_t j = i;
            do {
                pushValue(crns, cells[j], values.texts);
                ++j;
            } while (j < cells.size() && cells[j].row == cells[i].row && cells[j].col == cells[j - 1].col + 1 &&
                     crns.size() - at - 4 + kLargestValue <= kMaxRecordData);
            put16(crns, at + 2, static_cast<std::uint16_t>(crns.size() - at - 4));
            crns[at + 4] = std::byte(cells[j - 1].col);
            crns[at + 5] = std::byte(first);
            i = j;
        }
        starts.push_back(crns.size());
        for (std::size_t i = 0; i + 1 < starts.size(); i += kMaxCrnPerXct) {
            const std::size_t n = std::min(kMaxCrnPerXct, starts.size() - 1 - i);
            push16(out, rt::Xct);
            push16(out, 4);
            push16(out, static_cast<std::uint16_t>(n));
            push16(out, tab);
            append(out, Bytes(crns).subspan(starts[i], starts[i + n] - starts[i]));
        }
    }
    return out;
}

}  // namespace excel::biff
