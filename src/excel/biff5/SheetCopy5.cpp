#include "SheetCopy5.h"

#include "Formula5.h"
#include "LinkTable.h"
#include "excel/EngineError.h"
#include "excel/biff/RecordTypes.h"

#include <algorithm>
#include <limits>

namespace excel::biff5 {

using namespace excel::biff;

namespace {

constexpr std::size_t kInserted = std::numeric_limits<std::size_t>::max();
constexpr int kMaxDepth = 8;  // a sheet holds charts, which hold nothing deeper

struct Rec {
    std::uint16_t type = 0;
    std::vector<std::byte> body;
    std::size_t offset = kInserted;  // in the source stream
};

bool isLinkRecord(std::uint16_t type)
{
    return type == rt::ExternSheet || type == rt::ExternName || type == rt::Xct || type == rt::Crn;
}

void set16(std::span<std::byte> at, std::uint16_t v)
{
    at[0] = std::byte(v & 0xFF);
    at[1] = std::byte(v >> 8);
}

// The records of the substream whose BOF is at `start`, nested ones (charts)
// included, through its EOF.
std::vector<Rec> readSubstream(Bytes stream, std::size_t start, const StreamContext& ctx)
{
    if (start >= stream.size())
        throwDamagedAt(ctx, start, "a sheet entry points past the end of the stream (" +
                                       std::to_string(stream.size()) + " bytes)");
    RecordReader reader(stream, start, ctx);
    std::vector<Rec> out;
    int depth = 0;
    do {
        if (reader.atEnd())
            throwDamagedAt(ctx, reader.position(),
                           "the substream that starts at offset " + std::to_string(start) + " ends without an EOF record");
        const Record r = reader.next();
        if (depth == 0 && r.type != rt::Bof)
            throwDamaged(ctx, r, "expected a BOF record, found " + hex4(r.type));
        depth += r.type == rt::Bof ? 1 : r.type == rt::Eof ? -1 : 0;
        if (depth > kMaxDepth)
            throwDamaged(ctx, r, "substreams are nested more than " + std::to_string(kMaxDepth) + " deep");
        out.push_back({r.type, {r.body.begin(), r.body.end()}, r.offset});
    } while (depth > 0);
    return out;
}

// The formula of a record, where it has one.
std::span<std::byte> formulaOf(Rec& r)
{
    auto at = [&](std::size_t cceAt, std::size_t rgceAt) -> std::span<std::byte> {
        if (r.body.size() < cceAt + 2 || rgceAt + u16(r.body, cceAt) > r.body.size())
            return {};
        return std::span<std::byte>(r.body).subspan(rgceAt, u16(r.body, cceAt));
    };
    switch (r.type) {
    case rt::Formula: return at(20, 22);
    case rt::Array: return at(12, 14);
    case rt::ShrFmla: return at(8, 10);
    case rt::Brai: return at(6, 8);
    case rt::Name: return r.body.size() >= 14 ? at(4, 14 + u8(r.body, 3)) : std::span<std::byte>();
    default: return {};
    }
}

class Copier {
public:
    Copier(const Globals5& g, std::size_t kept, const CopySource& source) : g_(g), kept_(kept), link_(externalPrefix(source.fullName, g.codePage)) {}

    // Names: the workbook's and the kept sheet's stay, renumbered.
    void numberNames(const std::vector<Rec>& globals)
    {
        std::uint16_t next = 1;
        for (const Rec& r : globals) {
            if (r.type != rt::Name)
                continue;
            const std::uint16_t itab = r.body.size() >= 10 ? u16(r.body, 8) : 0;
            newName_.push_back(itab == 0 || itab == kept_ + 1 ? next++ : 0);
        }
    }

    // Rewrites the substream whose BOF is recs[i] into `out`; returns the
    // index after its EOF.
    std::size_t level(std::vector<Rec>& recs, std::size_t i, std::vector<Rec>& out, bool globals, bool sheet)
    {
        // This level's records, from its BOF to its EOF, nested substreams
        // left out.
        std::vector<std::size_t> own{i};
        std::size_t end = i + 1;
        for (int depth = 1; depth > 0 && end < recs.size();) {
            if (recs[end].type == rt::Bof) {
                end = skip(recs, end);
                continue;
            }
            own.push_back(end);
            depth -= recs[end].type == rt::Eof ? 1 : 0;
            ++end;
        }

        LinkTable table(g_, kept_, link_);
        for (std::size_t k : own)
            if (recs[k].type == rt::ExternSheet)
                table.add(recs[k].body);
        std::size_t nameNo = 0;
        for (std::size_t k : own) {
            if (recs[k].type == rt::Name && !keepsName(nameNo++))
                continue;  // a name that does not go with the copy
            rewriteFormula(formulaOf(recs[k]), table);
        }

        // Where the entries the copy adds go: after the source's own link
        // records, or, when there were none, before the column widths.
        std::size_t addAfter = kInserted, addBefore = kInserted;
        for (std::size_t n = 0; n < own.size(); ++n)
            if (recs[own[n]].type == rt::ExternSheet) {
                addAfter = n;
                while (addAfter + 1 < own.size() && isLinkRecord(recs[own[addAfter + 1]].type))
                    ++addAfter;
            }
        if (addAfter == kInserted && table.added() > 0) {
            addBefore = own.size() - 1;
            for (std::size_t n = 1; n < own.size(); ++n)
                if (recs[own[n]].type == rt5::DefColWidth || recs[own[n]].type == rt5::Dimensions) {
                    addBefore = n;
                    break;
                }
        }

        std::size_t entry = 0, name = 0;  // the next EXTERNSHEET entry and NAME record
        bool dropped = false;             // the record before was left out
        std::size_t k = i;
        for (std::size_t n = 0; n < own.size(); ++n) {
            while (k < own[n])
                k = level(recs, k, out, false, false);  // a nested substream (a chart)
            Rec& r = recs[own[n]];
            k = own[n] + 1;
            if (n == addBefore) {
                Rec count{rt5::ExternCount, {}, kInserted};
                push16(count.body, static_cast<std::uint16_t>(table.entries().size()));
                out.push_back(std::move(count));
                emitAdded(table, out);
            }
            const std::size_t before = out.size();
            const std::uint16_t type = r.type;
            switch (type) {
            case rt5::ExternCount:
                if (r.body.size() >= 2)
                    set16(r.body, static_cast<std::uint16_t>(table.entries().size()));
                out.push_back(std::move(r));
                break;
            case rt::ExternSheet:
                r.body = table.entries()[entry++];
                out.push_back(std::move(r));
                break;
            case rt::Continue:
                if (!dropped)  // the rest of a record that stays
                    out.push_back(std::move(r));
                break;
            default:
                if (globals) {
                    globalRecord(r, out, name);
                } else {
                    if (sheet && r.type == rt::Window2 && r.body.size() >= 2)
                        set16(r.body, static_cast<std::uint16_t>(u16(r.body, 0) | 0x0600));  // selected, shown
                    out.push_back(std::move(r));
                }
            }
            if (type != rt::Continue)
                dropped = out.size() == before;
            if (n == addAfter)
                emitAdded(table, out);
        }
        return end;
    }

private:
    static std::size_t skip(const std::vector<Rec>& recs, std::size_t i)
    {
        int depth = 0;
        do {
            depth += recs[i].type == rt::Bof ? 1 : recs[i].type == rt::Eof ? -1 : 0;
            ++i;
        } while (depth > 0 && i < recs.size());
        return i;
    }

    bool keepsName(std::size_t n) const { return n < newName_.size() && newName_[n] != 0; }

    static void emitAdded(const LinkTable& table, std::vector<Rec>& out)
    {
        for (std::size_t e = table.sourceCount(); e < table.entries().size(); ++e)
            out.push_back({rt::ExternSheet, table.entries()[e], kInserted});
    }

    void rewriteFormula(std::span<std::byte> rgce, LinkTable& table)
    {
        if (rgce.empty())
            return;
        TokenVisitor visit;
        visit.sheetRef = [&](SheetRef ref) { table.rewrite(ref); };
        visit.name = [&](std::span<std::byte> index) { renumber(index); };
        visit.nameX = [&](std::span<std::byte> ixals, std::span<std::byte> index) {
            if (static_cast<std::int16_t>(u16(ixals, 0)) < 0)
                renumber(index);
        };
        walkTokens(rgce, visit);
    }

    void renumber(std::span<std::byte> index) const
    {
        const std::uint16_t old = u16(index, 0);
        if (old >= 1 && old <= newName_.size() && newName_[old - 1] != 0)
            set16(index, newName_[old - 1]);
    }

    // The globals' records that name sheets.
    void globalRecord(Rec& r, std::vector<Rec>& out, std::size_t& nameNo)
    {
        switch (r.type) {
        case rt::BoundSheet8:
            if (sheetNo_++ == kept_) {
                if (r.body.size() >= 5)
                    r.body[4] = std::byte(0);  // the copy's only sheet is visible
                out.push_back(std::move(r));
            }
            return;
        case rt::Name: {
            if (!keepsName(nameNo++))
                return;
            if (r.body.size() >= 10 && u16(r.body, 8) != 0)
                set16(std::span<std::byte>(r.body).subspan(8, 2), 1);
            out.push_back(std::move(r));
            return;
        }
        case rt::Window1:
            if (r.body.size() >= 16) {
                set16(std::span<std::byte>(r.body).subspan(10, 2), 0);  // itabCur
                set16(std::span<std::byte>(r.body).subspan(12, 2), 0);  // itabFirst
                set16(std::span<std::byte>(r.body).subspan(14, 2), 1);  // ctabSel
            }
            out.push_back(std::move(r));
            return;
        case rt::ObjProj:       // the VBA project stays behind
        case rt::WriteProtect:  // a copy carries no protection of the source file
        case rt::FileSharing:
            return;
        default: out.push_back(std::move(r));
        }
    }

    const Globals5& g_;
    std::size_t kept_;
    std::string link_;
    std::vector<std::uint16_t> newName_;  // per source NAME record: 1-based in the copy, 0 when dropped
    std::size_t sheetNo_ = 0;
};

void write(std::vector<std::byte>& out, const Rec& r)
{
    push16(out, r.type);
    push16(out, static_cast<std::uint16_t>(r.body.size()));
    append(out, r.body);
}

}  // namespace

std::vector<std::byte> copySheet5(Bytes stream, const Globals5& globals, std::size_t sheet, const CopySource& source,
                                  const StreamContext& ctx)
{
    std::vector<Rec> globalRecs = readSubstream(stream, 0, ctx);
    std::vector<Rec> sheetRecs = readSubstream(stream, globals.sheets.at(sheet).position, ctx);
    Copier copier(globals, sheet, source);
    copier.numberNames(globalRecs);

    std::vector<Rec> globalOut, sheetOut;
    copier.level(globalRecs, 0, globalOut, true, false);
    copier.level(sheetRecs, 0, sheetOut, false, true);

    std::vector<std::byte> out;
    std::size_t boundSheetAt = kInserted;
    for (const Rec& r : globalOut) {
        if (r.type == rt::BoundSheet8)
            boundSheetAt = out.size();
        write(out, r);
    }
    if (boundSheetAt == kInserted || u16(out, boundSheetAt + 2) < 4)
        throw engineError(ctx.file, "the sheet to copy has no entry in the workbook.");
    put32(out, boundSheetAt + 4, static_cast<std::uint32_t>(out.size()));

    // Where each source record went, for the offsets the INDEX record holds.
    std::vector<std::pair<std::size_t, std::size_t>> moved;
    std::size_t indexAt = kInserted;
    int depth = 0;
    for (const Rec& r : sheetOut) {
        if (r.offset != kInserted)
            moved.emplace_back(r.offset, out.size());
        if (depth == 1 && r.type == rt::Index && indexAt == kInserted)
            indexAt = out.size();
        depth += r.type == rt::Bof ? 1 : r.type == rt::Eof ? -1 : 0;
        write(out, r);
    }
    std::sort(moved.begin(), moved.end());
    auto translate = [&](std::uint32_t old) -> std::uint32_t {
        if (old == 0 || moved.empty())
            return old;
        auto it = std::upper_bound(moved.begin(), moved.end(), std::make_pair(std::size_t{old}, kInserted));
        if (it == moved.begin())
            return old;
        --it;
        return static_cast<std::uint32_t>(it->second + (old - it->first));
    };
    if (indexAt != kInserted) {
        // [reserved 4][first row 2][last row + 1 2][DEFCOLWIDTH position 4][DBCELL positions]
        const std::size_t size = u16(out, indexAt + 2), body = indexAt + 4;
        for (std::size_t at = 8; at + 4 <= size; at += 4)
            put32(out, body + at, translate(u32(out, body + at)));
    }
    return out;
}

}  // namespace excel::biff5
