#include "SheetCopy.h"

#include "ExternalCache.h"
#include "Formula.h"
#include "RecordTypes.h"
#include "Sst.h"
#include "Strings.h"
#include "UsedStrings.h"
#include "ValuesOnly.h"
#include "excel/EngineError.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>

namespace excel::biff {

namespace {

constexpr std::uint16_t kSelfSupBook = 0x0401;
constexpr std::uint16_t kWorkbookLevel = 0xFFFE;
constexpr std::uint16_t kInvalidTab = 0xFFFF;
constexpr std::size_t kMaxRecordData = 8224;

struct Xti {
    std::uint16_t supBook, first, last;
};

// Appends one record; `body` must fit one record.
void emitRecord(std::vector<std::byte>& out, std::uint16_t type, Bytes body)
{
    push16(out, type);
    push16(out, static_cast<std::uint16_t>(body.size()));
    append(out, body);
}

// Appends a record as it was read, with its CONTINUE records.
void emitRaw(std::vector<std::byte>& out, const ContinuedRecord& r)
{
    emitRecord(out, r.first.type, r.first.body);
    for (std::size_t i = 1; i < r.pieces.size(); ++i)
        emitRecord(out, rt::Continue, r.pieces[i]);
}

std::u16string nameText(Bytes body)
{
    std::u16string s;
    if (body.size() >= 14) {
        std::size_t at = 14;
        readStringNoCch(body, at, u8(body, 3), s);
    }
    return s;
}

// The file the copy's external references name, as an encoded VirtualPath
// [MS-XLS 2.5.277]: 0x01 starts an encoded path, 0x02 the root of the
// volume, 0x03 separates folders.
std::u16string encodedPath(const std::string& fullName)
{
    std::u16string out = u"\x01";
    std::string path = fullName;
    if (!path.empty() && path.front() == '/') {
        out += u'\x02';
        path.erase(0, 1);
    }
    for (char16_t c : toUtf16(path))
        out += c == u'/' ? u'\x03' : c;
    return out;
}

struct Span {
    std::size_t at, size;
};

// At most two formulas in one record; kept off the heap, as this runs for
// every record of a sheet.
struct Spans {
    std::array<Span, 2> items{};
    std::size_t count = 0;
    Spans() = default;
    Spans(std::initializer_list<Span> l)
    {
        for (const Span& s : l)
            items[count++] = s;
    }
    const Span* begin() const { return items.data(); }
    const Span* end() const { return items.data() + count; }
};

// Where the formulas of a sheet record are: cells, shared and array
// formulas, chart series, data validation and conditional formats.
Spans formulasOf(const Record& r)
{
    const Bytes b = r.body;
    auto at = [&](std::size_t cceAt) -> Spans {
        if (b.size() < cceAt + 2 || b.size() < cceAt + 2 + u16(b, cceAt))
            return {};
        return {{cceAt + 2, u16(b, cceAt)}};
    };
    switch (r.type) {
    case rt::Formula: return at(20);
    case rt::ShrFmla: return at(8);
    case rt::Array: return at(12);
    case rt::Brai: return at(6);
    case rt::Dv: {
        // Four XLUnicodeStrings, then two formulas of cce, unused, rgce [2.4.118].
        std::size_t pos = 4;
        for (int i = 0; i < 4; ++i) {
            if (pos + 3 > b.size())
                return {};
            const std::size_t cch = u16(b, pos);
            pos += 3 + cch * ((u8(b, pos + 2) & 1) ? 2 : 1);
        }
        Spans out;
        for (int i = 0; i < 2; ++i) {
            if (pos + 4 > b.size() || pos + 4 + u16(b, pos) > b.size())
                return out;
            out.items[out.count++] = {pos + 4, u16(b, pos)};
            pos += 4 + u16(b, pos);
        }
        return out;
    }
    case rt::Cf: {
        // The two formulas end the record [2.4.42].
        if (b.size() < 6)
            return {};
        const std::size_t c1 = u16(b, 2), c2 = u16(b, 4);
        if (6 + c1 + c2 > b.size())
            return {};
        return {{b.size() - c2 - c1, c1}, {b.size() - c2, c2}};
    }
    default: return {};
    }
}

// What reaches outside the copied sheet, for a copy that keeps values only,
// and the names that do, which go (`keepName`, `newName` and `namesMoved`
// follow). `xtis` as the copy will have them, before any is unlinked.
std::unique_ptr<BiffReach> valuesReach(const std::vector<ContinuedRecord>& records, const std::vector<Xti>& xtis,
                                       std::uint16_t extBook, const std::vector<Bytes>& nameFormula,
                                       std::vector<bool>& keepName, std::vector<std::uint16_t>& newName,
                                       bool& namesMoved, ValuesReport& values)
{
    using Book = BiffReach::Book;
    std::vector<Book> books;
    for (const auto& r : records)
        if (r.first.type == rt::SupBook) {
            const std::uint16_t kind = r.first.body.size() >= 4 ? u16(r.first.body, 2) : 0;
            books.push_back(kind == kSelfSupBook ? Book::Own : kind == 0x3A01 ? Book::AddIn : Book::Outside);
        }
    auto reach = std::make_unique<BiffReach>(
        [books, xtis, extBook](std::uint16_t ixti) {
            if (ixti >= xtis.size())
                return Book::Own;
            const std::uint16_t b = xtis[ixti].supBook;
            return b == extBook ? Book::Outside : b < books.size() ? books[b] : Book::Own;
        },
        nameFormula);
    namesMoved = false;
    for (std::size_t i = 0, next = 1; i < keepName.size(); ++i) {
        if (keepName[i] && reach->name(static_cast<std::uint16_t>(i + 1))) {
            keepName[i] = false;
            ++values.names;
        }
        newName[i] = keepName[i] ? static_cast<std::uint16_t>(next++) : 0;
        namesMoved = namesMoved || (keepName[i] && newName[i] != i + 1);
    }
    return reach;
}

}  // namespace

SheetCopy copySheet(const Globals& globals, const GlobalRecords& parsed, std::size_t sheet, Substreams& sheets,
                    const CopySource& source, const StreamContext& ctx)
{
    const auto& records = parsed.records;
    const auto& strings = parsed.strings;
    const std::size_t sheetStart = globals.sheets.at(sheet).position;

    // Names: the sheet's own move to the one sheet, other sheets' go,
    // workbook names stay (they may refer to any sheet; those references
    // become external like the cells').
    std::vector<std::uint16_t> newName;
    std::vector<bool> keepName;
    std::set<std::u16string> droppedNames, keptNames;
    for (const auto& r : records) {
        if (r.first.type != rt::Name)
            continue;
        if (r.first.body.size() < 14)
            throwDamaged(ctx, r.first, "a defined name needs 14 bytes, found " + std::to_string(r.first.body.size()));
        const std::uint16_t itab = u16(r.first.body, 8);
        const bool keep = itab == 0 || itab == sheet + 1;
        keepName.push_back(keep);
        (keep ? keptNames : droppedNames).insert(nameText(r.first.body));
    }
    bool namesMoved = false;
    for (std::size_t i = 0, next = 1; i < keepName.size(); ++i) {
        newName.push_back(keepName[i] ? static_cast<std::uint16_t>(next++) : 0);
        namesMoved = namesMoved || (keepName[i] && newName.back() != i + 1);
    }

    // External references: the XTI table keeps its order, so that every
    // formula's ixti stays valid; entries for the kept sheet point at it, the
    // ones for other sheets at a new SUPBOOK naming the source file.
    std::vector<Xti> xtis;
    int supBooks = 0, self = -1;
    for (const auto& r : records) {
        if (r.first.type == rt::SupBook) {
            if (r.first.body.size() >= 4 && u16(r.first.body, 2) == kSelfSupBook && self < 0)
                self = supBooks;
            ++supBooks;
        } else if (r.first.type == rt::ExternSheet) {
            const auto body = r.joined();
            if (body.size() < 2 || body.size() < 2 + 6u * u16(body, 0))
                throwDamaged(ctx, r.first, "the external sheet table is shorter than its count");
            for (std::size_t i = 0; i < u16(body, 0); ++i)
                xtis.push_back({u16(body, 2 + 6 * i), u16(body, 4 + 6 * i), u16(body, 6 + 6 * i)});
        }
    }
    const auto extBook = static_cast<std::uint16_t>(supBooks);
    bool needExt = false;
    for (Xti& x : xtis) {
        if (self < 0 || x.supBook != self || x.first == kWorkbookLevel || x.first == kInvalidTab)
            continue;
        if (x.first == sheet && x.last == sheet) {
            x.first = x.last = 0;
        } else {
            x.supBook = extBook;
            needExt = true;
        }
    }

    // Every NAME record's formula, by 1-based index.
    std::vector<Bytes> nameFormula(1);
    std::vector<std::uint16_t> nameItab(1);
    std::vector<Bytes> nameRecord(1);
    for (const auto& r : records) {
        if (r.first.type != rt::Name)
            continue;
        const Bytes b = r.first.body;
        const std::size_t cch = u8(b, 3);
        const std::size_t at = 14 + 1 + cch * ((b.size() > 14 && (u8(b, 14) & 1)) ? 2 : 1);
        nameFormula.push_back(at + u16(b, 4) <= b.size() ? b.subspan(at, u16(b, 4)) : Bytes());
        nameItab.push_back(u16(b, 8));
        nameRecord.push_back(b);
    }

    // A copy that keeps values only: what reaches outside, and the names that do go.
    ValuesReport values;
    std::unique_ptr<BiffReach> reach;
    bool stillOutside = false;  // a formula that stays (a chart's) reads other sheets
    if (source.valuesOnly)
        reach = valuesReach(records, xtis, extBook, nameFormula, keepName, newName, namesMoved, values);

    // The cells the external references reach, for their cached values, and
    // the names of other sheets the sheet uses through PtgNameX, which become
    // EXTERNNAME records of the new SUPBOOK.
    std::map<std::uint16_t, std::vector<CellArea>> wanted;
    std::vector<std::uint16_t> extNames;          // old name indices, in order of first use
    std::map<std::uint16_t, std::uint16_t> extNameIndex;  // old -> 1-based index among extNames
    FormulaReader gather;
    std::optional<RefArea> sharedCells;  // while a shared formula is read: the cells it stands in
    gather.ref = [&](const Ref3d& ref) {
        if (ref.ixti >= xtis.size() || xtis[ref.ixti].supBook != extBook)
            return;
        const RefArea a = sharedCells ? sharedRefArea(ref, *sharedCells)
                                      : RefArea{ref.rowFirst, ref.rowLast, std::min(ref.colFirst, ref.colLast),
                                                std::max(ref.colFirst, ref.colLast)};
        const CellArea area{a.rowFirst, a.rowLast, a.colFirst, a.colLast};
        for (std::uint32_t t = xtis[ref.ixti].first; t <= xtis[ref.ixti].last && t < globals.sheets.size(); ++t) {
            // Formulas filled down reach a column a row at a time: one area
            // grows instead of one per formula.
            auto& areas = wanted[static_cast<std::uint16_t>(t)];
            if (!areas.empty()) {
                CellArea& last = areas.back();
                if (last.colFirst == area.colFirst && last.colLast == area.colLast &&
                    area.rowFirst >= last.rowFirst && area.rowFirst <= last.rowLast + 1) {
                    last.rowLast = std::max(last.rowLast, area.rowLast);
                    continue;
                }
            }
            areas.push_back(area);
        }
    };
    gather.nameX = [&](std::uint16_t ixti, std::uint16_t old) {
        if (ixti >= xtis.size() || xtis[ixti].supBook != extBook || old == 0 || old >= nameFormula.size() ||
            extNameIndex.count(old))
            return;
        extNames.push_back(old);
        extNameIndex[old] = static_cast<std::uint16_t>(extNames.size());
        readFormula(nameFormula[old], gather);  // names within names
    };

    // One walk over the sheet substream, embedded charts included: where it
    // ends, the shared strings its cells use and, when other sheets are
    // reached, the cells its formulas reach.
    if (sheetStart >= sheets.size())
        throwDamagedAt(ctx, sheetStart, "a sheet entry points past the end of the stream (" +
                                            std::to_string(sheets.size()) + " bytes)");
    UsedStrings used(strings.size());
    std::uint32_t labelCount = 0;
    std::uint32_t emptied = 0;  // string cells that refer past the table
    const bool hasTable = std::any_of(records.begin(), records.end(),
                                      [](const ContinuedRecord& r) { return r.first.type == rt::Sst; });
    std::size_t sheetStop = 0;
    int unclosed = 0;  // BOF records the stream's end left without their EOF
    {
        SubstreamRecords reader(sheets, sheetStart, ctx);
        // The last substream of a stream that ends early (a file cut off) is
        // read up to its last whole record, as other readers read it.
        const bool last = sheets.endOf(sheetStart) >= sheets.size();
        int depth = 0;
        do {
            if (reader.atEnd() && !(last && depth > 0))
                throwDamagedAt(ctx, reader.position(), "the sheet that starts at offset " + std::to_string(sheetStart) +
                                                           " ends without an EOF record");
            const std::size_t before = reader.position();
            Record r;
            try {
                if (reader.atEnd())
                    throw tb::Error(tb::err::EngineFailure, "the stream ends");
                r = reader.next();
            } catch (const tb::Error&) {
                if (!last || depth == 0)
                    throw;
                unclosed = depth;
                sheetStop = before;
                break;
            }
            if (depth == 0 && r.type != rt::Bof && r.type != rt::Eof)
                throwDamaged(ctx, r, "expected the sheet's BOF record, found " + hex4(r.type));
            switch (r.type) {
            case rt::Bof: ++depth; break;
            case rt::Eof: --depth; break;
            case rt::LabelSst: {
                if (r.body.size() < 10)
                    throwDamaged(ctx, r, "a string cell needs 10 bytes, found " + std::to_string(r.body.size()));
                const std::uint32_t isst = u32(r.body, 6);
                if (isst < strings.size())
                    used.mark(isst);
                else if (!hasTable)
                    throwDamaged(ctx, r, "the cell refers to shared string " + std::to_string(isst) +
                                             ", and the workbook has no shared-string table");
                else
                    ++emptied;  // past the table's end: an empty string, as other readers read it
                ++labelCount;
                break;
            }
            default:
                if (r.type == rt::ShrFmla && r.body.size() >= 6)
                    sharedCells = RefArea{u16(r.body, 0), u16(r.body, 2), u8(r.body, 4), u8(r.body, 5)};
                if (needExt)
                    for (const Span& f : formulasOf(r))
                        readFormula(r.body.subspan(f.at, f.size), gather);
                sharedCells.reset();
                if (reach && r.type == rt::Brai)
                    for (const Span& f : formulasOf(r))
                        stillOutside = reach->formula(r.body.subspan(f.at, f.size)) || stillOutside;
            }
        } while (depth > 0);
        if (unclosed == 0)
            sheetStop = reader.position();
    }
    const std::size_t sheetSize = sheetStop - sheetStart + 4u * static_cast<std::size_t>(unclosed);
    // Kept strings in their old order.
    used.rank();
    std::vector<SstString> keptStrings;
    keptStrings.reserve(used.count());
    std::size_t keptBytes = 0;
    SstTable::Walk walk(strings);
    used.forEach([&](std::uint32_t i) {
        keptStrings.push_back(walk(i));
        const SstString& k = keptStrings.back();
        keptBytes += 7 + k.chars.size() + k.runs.size() + k.ext.size();
    });
    const std::uint32_t emptyIndex = used.count();  // of the empty string the emptied cells get
    if (emptied != 0)
        keptStrings.emplace_back();
    if (needExt) {
        for (std::size_t i = 1; i < nameFormula.size(); ++i)
            if (keepName[i - 1])
                readFormula(nameFormula[i], gather);
        for (auto& [tab, areas] : wanted) {
            std::sort(areas.begin(), areas.end());
            areas.erase(std::unique(areas.begin(), areas.end()), areas.end());
        }
    }

    if (reach && needExt && !stillOutside) {
        // Nothing reads the source any more: no SUPBOOK for it, and the XTIs
        // that named its sheets name none.
        needExt = false;
        for (Xti& x : xtis)
            if (x.supBook == extBook)
                x = {static_cast<std::uint16_t>(self), kInvalidTab, kInvalidTab};
        wanted.clear();
        extNames.clear();
        extNameIndex.clear();
    }

    // Name indices in the copy's formulas: PtgName through the new NAME
    // list, PtgNameX through the XTI it uses.
    const bool rewriteNames = namesMoved || !extNames.empty();
    auto set = [](std::span<std::byte> index, std::uint16_t v) {
        index[0] = std::byte(v & 0xFF);
        index[1] = std::byte(v >> 8);
    };
    FormulaVisitor renumber;
    renumber.name = [&](std::span<std::byte> index) {
        const std::uint16_t old = u16(index, 0);
        if (old >= 1 && old <= newName.size() && newName[old - 1] != 0)
            set(index, newName[old - 1]);
    };
    renumber.nameX = [&](std::uint16_t ixti, std::span<std::byte> index) {
        const std::uint16_t old = u16(index, 0);
        if (ixti >= xtis.size())
            return;
        if (xtis[ixti].supBook == extBook && extNameIndex.count(old))
            set(index, extNameIndex[old]);
        else if (self >= 0 && xtis[ixti].supBook == self && old >= 1 && old <= newName.size() &&
                 newName[old - 1] != 0)
            set(index, newName[old - 1]);
    };
    auto rewrite = [&](std::span<std::byte> rgce) {
        if (rewriteNames)
            walkFormula(rgce, renumber);
    };

    SheetCopy result;
    result.emptiedCells = emptied;
    std::vector<std::byte>& out = result.stream;
    // The copy's stream is the globals with the pruned table in place of
    // the source's, then the sheet: reserved so that it is never moved, and
    // without the whole source table, which would tie memory to the
    // workbook's other sheets.
    std::size_t sourceTable = 0;
    for (const auto& r : records)
        if (r.first.type == rt::Sst || r.first.type == rt::ExtSst)
            for (const Bytes& piece : r.pieces)
                sourceTable += 4 + piece.size();
    // SST and CONTINUE headers, a flags byte where a string is split, EXTSST.
    const std::size_t keptTable = 16 + keptBytes + 8 * (keptBytes / 8000 + 1) + 8 * 130;
    // The SUPBOOK naming the source, its EXTERNNAMEs and the cached values
    // of the cells it reaches, read before the copy is reserved.
    std::vector<std::byte> cache;
    std::size_t external = 0;
    if (needExt) {
        cache = externalCache(sheets, globals, strings, wanted, ctx);
        external = 4 + kMaxRecordData + cache.size();
        for (std::uint16_t old : extNames)
            external += 16 + nameRecord[old].size();
    }
    out.reserve(globals.end - std::min(sourceTable, globals.end) + keptTable + external + sheetSize);
    std::size_t boundSheetAt = 0;
    std::size_t sheetNo = 0, nameNo = 0;
    for (const auto& r : records) {
        const Record& f = r.first;
        switch (f.type) {
        case rt::BoundSheet8:
            if (sheetNo++ == sheet) {
                boundSheetAt = out.size();
                emitRaw(out, r);
                out[boundSheetAt + 4 + 4] = std::byte(0);  // the copy's only sheet is visible
            }
            break;
        case rt::Sst:
            writeSst(out, keptStrings, labelCount);
            break;
        case rt::ExtSst:
            break;  // written with the SST
        case rt::Name:
            if (keepName[nameNo]) {
                const std::size_t at = out.size();
                emitRaw(out, r);
                if (u16(f.body, 8) != 0)
                    put16(out, at + 4 + 8, 1);
                const std::size_t cce = u16(f.body, 4);
                const std::size_t cch = u8(f.body, 3);
                const std::size_t rgce = 14 + 1 + cch * ((f.body.size() > 14 && (u8(f.body, 14) & 1)) ? 2 : 1);
                if (rgce + cce <= f.body.size())
                    rewrite(std::span<std::byte>(out).subspan(at + 4 + rgce, cce));
            }
            ++nameNo;
            break;
        case rt::NameCmt: {
            std::u16string n;
            std::size_t at = 16;
            if (f.body.size() >= 16 && readStringNoCch(f.body, at, u16(f.body, 12), n) && droppedNames.count(n) &&
                !keptNames.count(n))
                break;
            emitRaw(out, r);
            break;
        }
        case rt::SupBook: {
            const std::size_t at = out.size();
            emitRaw(out, r);
            if (f.body.size() >= 4 && u16(f.body, 2) == kSelfSupBook)
                put16(out, at + 4, 1);
            break;
        }
        case rt::ExternSheet: {
            if (needExt) {
                std::vector<std::byte> book;
                push16(book, static_cast<std::uint16_t>(globals.sheets.size()));
                const std::u16string path = encodedPath(source.fullName);
                push16(book, static_cast<std::uint16_t>(path.size()));
                writeStringNoCch(book, path);
                for (const SheetEntry& s : globals.sheets)
                    writeString16(book, s.name);
                if (book.size() > kMaxRecordData)
                    throw engineError(ctx.file, "has too many sheets to name them all in one external reference.");
                emitRecord(out, rt::SupBook, book);
                for (std::uint16_t old : extNames) {
                    // ExternName with an ExternDocName [MS-XLS 2.5.100]: the
                    // name, its sheet in the SUPBOOK (1-based, 0 for the
                    // workbook) and its definition, whose XTIs stay valid.
                    const Bytes rec = nameRecord[old];
                    std::vector<std::byte> body;
                    push16(body, (u16(rec, 0) & 0x20) ? 0x0001 : 0x0000);
                    push16(body, nameItab[old]);
                    push16(body, 0);
                    const std::u16string text = nameText(rec);
                    push8(body, static_cast<std::uint8_t>(text.size()));
                    writeStringNoCch(body, text);
                    std::vector<std::byte> def(nameFormula[old].begin(), nameFormula[old].end());
                    rewrite(def);
                    push16(body, static_cast<std::uint16_t>(def.size()));
                    append(body, def);
                    if (body.size() <= kMaxRecordData)
                        emitRecord(out, rt::ExternName, body);
                }
                append(out, cache);
            }
            std::vector<std::byte> body;
            push16(body, static_cast<std::uint16_t>(xtis.size()));
            for (const Xti& x : xtis) {
                push16(body, x.supBook);
                push16(body, x.first);
                push16(body, x.last);
            }
            // Split as Excel does: whole entries, CONTINUE records after the first.
            std::size_t at = 0;
            for (std::uint16_t type = rt::ExternSheet; at < body.size(); type = rt::Continue) {
                const std::size_t limit = type == rt::ExternSheet ? 2 + 1370 * 6 : 1370 * 6;
                const std::size_t n = std::min(body.size() - at, limit);
                emitRecord(out, type, Bytes(body).subspan(at, n));
                at += n;
            }
            break;
        }
        case rt::Window1: {
            const std::size_t at = out.size();
            emitRaw(out, r);
            if (f.body.size() >= 16) {
                put16(out, at + 4 + 10, 0);  // itabCur
                put16(out, at + 4 + 12, 0);  // itabFirst
                put16(out, at + 4 + 14, 1);  // ctabSel
            }
            break;
        }
        case rt::TabId:
        case rt::RrTabId: {
            std::vector<std::byte> body;
            if (f.body.size() >= 2 * (sheet + 1))
                append(body, f.body.subspan(2 * sheet, 2));
            else
                push16(body, 1);
            emitRecord(out, f.type, body);
            break;
        }
        case rt::ObjProj:       // the VBA project stays behind
        case rt::WriteProtect:  // a copy carries no protection of the source file
        case rt::FileSharing:
            break;
        default:
            emitRaw(out, r);
        }
    }
    if (boundSheetAt == 0)
        throw engineError(ctx.file, "the sheet to copy has no entry in the workbook.");

    // The sheet substream, byte for byte, then the few fields that change,
    // read from the copy.
    const std::size_t newStart = out.size();
    put32(out, boundSheetAt + 4, static_cast<std::uint32_t>(newStart));
    for (std::size_t at = sheetStart; at < sheetStop;) {
        const std::size_t n = std::min(kSubstreamWindow, sheetStop - at);
        append(out, sheets.read(at, n));
        at += n;
    }
    for (int i = 0; i < unclosed; ++i) {
        push16(out, rt::Eof);
        push16(out, 0);
    }
    result.cutShort = unclosed != 0;
    if (reach) {
        const auto outside = [&](const Record& r) {
            for (const Span& f : formulasOf(r))
                if (reach->formula(r.body.subspan(f.at, f.size)))
                    return true;
            return false;
        };
        auto alone = valuesOnlySheet(Bytes(out).subspan(newStart), sheetStart, outside, values, ctx);
        result.values = values;
        out.resize(newStart);
        append(out, alone);
    }
    const std::int64_t delta = static_cast<std::int64_t>(newStart) - static_cast<std::int64_t>(sheetStart);
    auto moved = [&](std::uint32_t pos) { return pos == 0 ? 0u : static_cast<std::uint32_t>(pos + delta); };
    RecordReader reader(Bytes(out).subspan(newStart), 0, ctx);
    int depth = 0;
    while (!reader.atEnd()) {
        const Record r = reader.next();
        const std::size_t body = newStart + r.offset + 4;
        // Fields are read before the record's formulas change.
        switch (r.type) {
        case rt::Bof: ++depth; break;
        case rt::Eof: --depth; break;
        case rt::LabelSst: {
            const std::uint32_t isst = u32(r.body, 6);
            put32(out, body + 6, isst < strings.size() ? used.newIndex(isst) : emptyIndex);
            break;
        }
        case rt::Window2:
            if (depth == 1 && r.body.size() >= 2)
                put16(out, body, static_cast<std::uint16_t>(u16(r.body, 0) | 0x0600));  // fSelected, fPaged
            break;
        case rt::Index:
            if (depth == 1 && r.body.size() >= 16) {
                put32(out, body + 12, moved(u32(r.body, 12)));
                for (std::size_t i = 16; i + 4 <= r.body.size(); i += 4)
                    put32(out, body + i, moved(u32(r.body, i)));
            }
            break;
        case rt::Obj:
            // Embedded OLE objects keep their data in ObjectPool/_<n>; n is in
            // the picture-formula subrecord (FtPictFmla, lPosInCtlStm).
            for (std::size_t at = 0; at + 4 <= r.body.size();) {
                const std::uint16_t ft = u16(r.body, at), cb = u16(r.body, at + 2);
                if (ft == 0x0009 && at + 4 + cb <= r.body.size())
                    for (std::size_t i = at + 4; i + 4 <= at + 4 + cb; ++i)
                        result.embeddings.insert(u32(r.body, i));
                if (ft == 0x0000 || ft == 0x0013)
                    break;  // ftEnd; a list box's data has no size of its own
                at += 4 + cb;
            }
            break;
        default: break;
        }
        if (rewriteNames) {
            const auto span = std::span<std::byte>(out).subspan(body, r.body.size());
            for (const Span& f : formulasOf(r))
                rewrite(span.subspan(f.at, f.size));
        }
    }
    return result;
}

}  // namespace excel::biff
