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

// One copy, made in the steps below; what a step finds, the later ones use.
// The readers and visitors it sets up point into it: it is made in place.
class OneSheetCopy {
public:
    OneSheetCopy(const Globals& globals, const GlobalRecords& parsed, std::size_t sheet, Substreams& sheets,
                 const CopySource& source, const StreamContext& ctx)
        : globals_(globals), records_(parsed.records), strings_(parsed.strings), sheet_(sheet), sheets_(sheets),
          source_(source), ctx_(ctx), sheetStart_(globals.sheets.at(sheet).position)
    {
    }
    OneSheetCopy(const OneSheetCopy&) = delete;
    OneSheetCopy& operator=(const OneSheetCopy&) = delete;

    SheetCopy make()
    {
        planNames();
        planExternalSheets();
        readNameDefinitions();
        if (source_.valuesOnly)
            reach_ = valuesReach(records_, xtis_, extBook_, nameFormula_, keepName_, newName_, namesMoved_, values_);
        prepareGathering();
        walkSheet();
        keepStrings();
        gatherFromKeptNames();
        unlinkSource();
        prepareRenumbering();
        reserveCopy();
        writeGlobals();
        appendSheet();
        if (reach_)
            keepValuesOnly();
        moveSheetFields();
        return std::move(result_);
    }

private:
    // Names: the sheet's own move to the one sheet, other sheets' go,
    // workbook names stay (they may refer to any sheet; those references
    // become external like the cells').
    void planNames()
    {
        for (const auto& r : records_) {
            if (r.first.type != rt::Name)
                continue;
            if (r.first.body.size() < 14)
                throwDamaged(ctx_, r.first,
                             "a defined name needs 14 bytes, found " + std::to_string(r.first.body.size()));
            const std::uint16_t itab = u16(r.first.body, 8);
            const bool keep = itab == 0 || itab == sheet_ + 1;
            keepName_.push_back(keep);
            (keep ? keptNames_ : droppedNames_).insert(nameText(r.first.body));
        }
        for (std::size_t i = 0, next = 1; i < keepName_.size(); ++i) {
            newName_.push_back(keepName_[i] ? static_cast<std::uint16_t>(next++) : 0);
            namesMoved_ = namesMoved_ || (keepName_[i] && newName_.back() != i + 1);
        }
    }

    // External references: the XTI table keeps its order, so that every
    // formula's ixti stays valid; entries for the kept sheet point at it, the
    // ones for other sheets at a new SUPBOOK naming the source file.
    void planExternalSheets()
    {
        int supBooks = 0;
        for (const auto& r : records_) {
            if (r.first.type == rt::SupBook) {
                if (r.first.body.size() >= 4 && u16(r.first.body, 2) == kSelfSupBook && self_ < 0)
                    self_ = supBooks;
                ++supBooks;
            } else if (r.first.type == rt::ExternSheet) {
                const auto body = r.joined();
                if (body.size() < 2 || body.size() < 2 + 6u * u16(body, 0))
                    throwDamaged(ctx_, r.first, "the external sheet table is shorter than its count");
                for (std::size_t i = 0; i < u16(body, 0); ++i)
                    xtis_.push_back({u16(body, 2 + 6 * i), u16(body, 4 + 6 * i), u16(body, 6 + 6 * i)});
            }
        }
        extBook_ = static_cast<std::uint16_t>(supBooks);
        for (Xti& x : xtis_) {
            if (self_ < 0 || x.supBook != self_ || x.first == kWorkbookLevel || x.first == kInvalidTab)
                continue;
            if (x.first == sheet_ && x.last == sheet_) {
                x.first = x.last = 0;
            } else {
                x.supBook = extBook_;
                needExt_ = true;
            }
        }
    }

    // Every NAME record's formula, by 1-based index.
    void readNameDefinitions()
    {
        for (const auto& r : records_) {
            if (r.first.type != rt::Name)
                continue;
            const Bytes b = r.first.body;
            const std::size_t cch = u8(b, 3);
            const std::size_t at = 14 + 1 + cch * ((b.size() > 14 && (u8(b, 14) & 1)) ? 2 : 1);
            nameFormula_.push_back(at + u16(b, 4) <= b.size() ? b.subspan(at, u16(b, 4)) : Bytes());
            nameItab_.push_back(u16(b, 8));
            nameRecord_.push_back(b);
        }
    }

    // The cells the external references reach, for their cached values, and
    // the names of other sheets the sheet uses through PtgNameX, which become
    // EXTERNNAME records of the new SUPBOOK.
    void prepareGathering()
    {
        gather_.ref = [this](const Ref3d& ref) {
            if (ref.ixti >= xtis_.size() || xtis_[ref.ixti].supBook != extBook_)
                return;
            const RefArea a = sharedCells_ ? sharedRefArea(ref, *sharedCells_)
                                           : RefArea{ref.rowFirst, ref.rowLast, std::min(ref.colFirst, ref.colLast),
                                                     std::max(ref.colFirst, ref.colLast)};
            const CellArea area{a.rowFirst, a.rowLast, a.colFirst, a.colLast};
            for (std::uint32_t t = xtis_[ref.ixti].first; t <= xtis_[ref.ixti].last && t < globals_.sheets.size();
                 ++t)
                addWanted(static_cast<std::uint16_t>(t), area);
        };
        gather_.nameX = [this](std::uint16_t ixti, std::uint16_t old) {
            if (ixti >= xtis_.size() || xtis_[ixti].supBook != extBook_ || old == 0 || old >= nameFormula_.size() ||
                extNameIndex_.count(old))
                return;
            extNames_.push_back(old);
            extNameIndex_[old] = static_cast<std::uint16_t>(extNames_.size());
            readFormula(nameFormula_[old], gather_);  // names within names
        };
    }

    // Formulas filled down reach a column a row at a time: one area grows
    // instead of one per formula.
    void addWanted(std::uint16_t tab, const CellArea& area)
    {
        auto& areas = wanted_[tab];
        if (!areas.empty()) {
            CellArea& last = areas.back();
            if (last.colFirst == area.colFirst && last.colLast == area.colLast && area.rowFirst >= last.rowFirst &&
                area.rowFirst <= last.rowLast + 1) {
                last.rowLast = std::max(last.rowLast, area.rowLast);
                return;
            }
        }
        areas.push_back(area);
    }

    // One walk over the sheet substream, embedded charts included: where it
    // ends, the shared strings its cells use and, when other sheets are
    // reached, the cells its formulas reach.
    void walkSheet()
    {
        if (sheetStart_ >= sheets_.size())
            throwDamagedAt(ctx_, sheetStart_, "a sheet entry points past the end of the stream (" +
                                                  std::to_string(sheets_.size()) + " bytes)");
        used_.emplace(strings_.size());
        hasTable_ = std::any_of(records_.begin(), records_.end(),
                                [](const ContinuedRecord& r) { return r.first.type == rt::Sst; });
        SubstreamRecords reader(sheets_, sheetStart_, ctx_);
        // The last substream of a stream that ends early (a file cut off) is
        // read up to its last whole record, as other readers read it.
        const bool last = sheets_.endOf(sheetStart_) >= sheets_.size();
        int depth = 0;
        do {
            if (reader.atEnd() && !(last && depth > 0))
                throwDamagedAt(ctx_, reader.position(),
                               "the sheet that starts at offset " + std::to_string(sheetStart_) +
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
                unclosed_ = depth;
                sheetStop_ = before;
                break;
            }
            if (depth == 0 && r.type != rt::Bof && r.type != rt::Eof)
                throwDamaged(ctx_, r, "expected the sheet's BOF record, found " + hex4(r.type));
            switch (r.type) {
            case rt::Bof: ++depth; break;
            case rt::Eof: --depth; break;
            case rt::LabelSst: noteString(r); break;
            default: noteFormulas(r);
            }
        } while (depth > 0);
        if (unclosed_ == 0)
            sheetStop_ = reader.position();
    }

    void noteString(const Record& r)
    {
        if (r.body.size() < 10)
            throwDamaged(ctx_, r, "a string cell needs 10 bytes, found " + std::to_string(r.body.size()));
        const std::uint32_t isst = u32(r.body, 6);
        if (isst < strings_.size())
            used_->mark(isst);
        else if (!hasTable_)
            throwDamaged(ctx_, r, "the cell refers to shared string " + std::to_string(isst) +
                                      ", and the workbook has no shared-string table");
        else
            ++emptied_;  // past the table's end: an empty string, as other readers read it
        ++labelCount_;
    }

    // The cells a record's formulas reach on other sheets, and, for a copy
    // that keeps values only, whether a chart still reads them.
    void noteFormulas(const Record& r)
    {
        if (r.type == rt::ShrFmla && r.body.size() >= 6)
            sharedCells_ = RefArea{u16(r.body, 0), u16(r.body, 2), u8(r.body, 4), u8(r.body, 5)};
        if (needExt_)
            for (const Span& f : formulasOf(r))
                readFormula(r.body.subspan(f.at, f.size), gather_);
        sharedCells_.reset();
        if (reach_ && r.type == rt::Brai)
            for (const Span& f : formulasOf(r))
                stillOutside_ = reach_->formula(r.body.subspan(f.at, f.size)) || stillOutside_;
    }

    // Kept strings in their old order, then the empty string the emptied
    // cells get.
    void keepStrings()
    {
        used_->rank();
        keptStrings_.reserve(used_->count());
        SstTable::Walk walk(strings_);
        used_->forEach([&](std::uint32_t i) {
            keptStrings_.push_back(walk(i));
            const SstString& k = keptStrings_.back();
            keptBytes_ += 7 + k.chars.size() + k.runs.size() + k.ext.size();
        });
        emptyIndex_ = used_->count();
        if (emptied_ != 0)
            keptStrings_.emplace_back();
    }

    void gatherFromKeptNames()
    {
        if (!needExt_)
            return;
        for (std::size_t i = 1; i < nameFormula_.size(); ++i)
            if (keepName_[i - 1])
                readFormula(nameFormula_[i], gather_);
        for (auto& [tab, areas] : wanted_) {
            std::sort(areas.begin(), areas.end());
            areas.erase(std::unique(areas.begin(), areas.end()), areas.end());
        }
    }

    // In a copy that keeps values only, nothing may read the source any
    // more: no SUPBOOK for it, and the XTIs that named its sheets name none.
    void unlinkSource()
    {
        if (!(reach_ && needExt_ && !stillOutside_))
            return;
        needExt_ = false;
        for (Xti& x : xtis_)
            if (x.supBook == extBook_)
                x = {static_cast<std::uint16_t>(self_), kInvalidTab, kInvalidTab};
        wanted_.clear();
        extNames_.clear();
        extNameIndex_.clear();
    }

    // Name indices in the copy's formulas: PtgName through the new NAME
    // list, PtgNameX through the XTI it uses.
    void prepareRenumbering()
    {
        rewriteNames_ = namesMoved_ || !extNames_.empty();
        renumber_.name = [this](std::span<std::byte> index) {
            const std::uint16_t old = u16(index, 0);
            if (old >= 1 && old <= newName_.size() && newName_[old - 1] != 0)
                setIndex(index, newName_[old - 1]);
        };
        renumber_.nameX = [this](std::uint16_t ixti, std::span<std::byte> index) {
            const std::uint16_t old = u16(index, 0);
            if (ixti >= xtis_.size())
                return;
            if (xtis_[ixti].supBook == extBook_ && extNameIndex_.count(old))
                setIndex(index, extNameIndex_[old]);
            else if (self_ >= 0 && xtis_[ixti].supBook == self_ && old >= 1 && old <= newName_.size() &&
                     newName_[old - 1] != 0)
                setIndex(index, newName_[old - 1]);
        };
    }

    static void setIndex(std::span<std::byte> index, std::uint16_t v)
    {
        index[0] = std::byte(v & 0xFF);
        index[1] = std::byte(v >> 8);
    }

    void rewrite(std::span<std::byte> rgce)
    {
        if (rewriteNames_)
            walkFormula(rgce, renumber_);
    }

    std::vector<std::byte>& out() { return result_.stream; }

    // The copy's stream is the globals with the pruned table in place of
    // the source's, then the sheet: reserved so that it is never moved, and
    // without the whole source table, which would tie memory to the
    // workbook's other sheets.
    void reserveCopy()
    {
        result_.emptiedCells = emptied_;
        std::size_t sourceTable = 0;
        for (const auto& r : records_)
            if (r.first.type == rt::Sst || r.first.type == rt::ExtSst)
                for (const Bytes& piece : r.pieces)
                    sourceTable += 4 + piece.size();
        // SST and CONTINUE headers, a flags byte where a string is split, EXTSST.
        const std::size_t keptTable = 16 + keptBytes_ + 8 * (keptBytes_ / 8000 + 1) + 8 * 130;
        // The SUPBOOK naming the source, its EXTERNNAMEs and the cached values
        // of the cells it reaches, read before the copy is reserved.
        std::size_t external = 0;
        if (needExt_) {
            cache_ = externalCache(sheets_, globals_, strings_, wanted_, ctx_);
            external = 4 + kMaxRecordData + cache_.size();
            for (std::uint16_t old : extNames_)
                external += 16 + nameRecord_[old].size();
        }
        const std::size_t sheetSize = sheetStop_ - sheetStart_ + 4u * static_cast<std::size_t>(unclosed_);
        out().reserve(globals_.end - std::min(sourceTable, globals_.end) + keptTable + external + sheetSize);
    }

    void writeGlobals()
    {
        std::size_t sheetNo = 0, nameNo = 0;
        for (const auto& r : records_) {
            const Record& f = r.first;
            switch (f.type) {
            case rt::BoundSheet8:
                if (sheetNo++ == sheet_) {
                    boundSheetAt_ = out().size();
                    emitRaw(out(), r);
                    out()[boundSheetAt_ + 4 + 4] = std::byte(0);  // the copy's only sheet is visible
                }
                break;
            case rt::Sst: writeSst(out(), keptStrings_, labelCount_); break;
            case rt::ExtSst: break;  // written with the SST
            case rt::Name:
                if (keepName_[nameNo])
                    writeName(r);
                ++nameNo;
                break;
            case rt::NameCmt: writeNameComment(r); break;
            case rt::SupBook: {
                const std::size_t at = out().size();
                emitRaw(out(), r);
                if (f.body.size() >= 4 && u16(f.body, 2) == kSelfSupBook)
                    put16(out(), at + 4, 1);
                break;
            }
            case rt::ExternSheet:
                if (needExt_)
                    writeSourceBook();
                writeExternSheet();
                break;
            case rt::Window1: writeWindow(r); break;
            case rt::TabId:
            case rt::RrTabId: writeTabIds(f); break;
            case rt::ObjProj:       // the VBA project stays behind
            case rt::WriteProtect:  // a copy carries no protection of the source file
            case rt::FileSharing:
                break;
            default: emitRaw(out(), r);
            }
        }
        if (boundSheetAt_ == 0)
            throw engineError(ctx_.file, "the sheet to copy has no entry in the workbook.");
    }

    void writeName(const ContinuedRecord& r)
    {
        const Record& f = r.first;
        const std::size_t at = out().size();
        emitRaw(out(), r);
        if (u16(f.body, 8) != 0)
            put16(out(), at + 4 + 8, 1);
        const std::size_t cce = u16(f.body, 4);
        const std::size_t cch = u8(f.body, 3);
        const std::size_t rgce = 14 + 1 + cch * ((f.body.size() > 14 && (u8(f.body, 14) & 1)) ? 2 : 1);
        if (rgce + cce <= f.body.size())
            rewrite(std::span<std::byte>(out()).subspan(at + 4 + rgce, cce));
    }

    // A comment goes with its name, unless a kept name has the same text.
    void writeNameComment(const ContinuedRecord& r)
    {
        const Record& f = r.first;
        std::u16string n;
        std::size_t at = 16;
        if (f.body.size() >= 16 && readStringNoCch(f.body, at, u16(f.body, 12), n) && droppedNames_.count(n) &&
            !keptNames_.count(n))
            return;
        emitRaw(out(), r);
    }

    // The SUPBOOK naming the source file, the EXTERNNAMEs of the names the
    // sheet reaches there, and the cached values of the cells.
    void writeSourceBook()
    {
        std::vector<std::byte> book;
        push16(book, static_cast<std::uint16_t>(globals_.sheets.size()));
        const std::u16string path = encodedPath(source_.fullName);
        push16(book, static_cast<std::uint16_t>(path.size()));
        writeStringNoCch(book, path);
        for (const SheetEntry& s : globals_.sheets)
            writeString16(book, s.name);
        if (book.size() > kMaxRecordData)
            throw engineError(ctx_.file, "has too many sheets to name them all in one external reference.");
        emitRecord(out(), rt::SupBook, book);
        for (std::uint16_t old : extNames_)
            writeExternName(old);
        append(out(), cache_);
    }

    // ExternName with an ExternDocName [MS-XLS 2.5.100]: the name, its sheet
    // in the SUPBOOK (1-based, 0 for the workbook) and its definition, whose
    // XTIs stay valid.
    void writeExternName(std::uint16_t old)
    {
        const Bytes rec = nameRecord_[old];
        std::vector<std::byte> body;
        push16(body, (u16(rec, 0) & 0x20) ? 0x0001 : 0x0000);
        push16(body, nameItab_[old]);
        push16(body, 0);
        const std::u16string text = nameText(rec);
        push8(body, static_cast<std::uint8_t>(text.size()));
        writeStringNoCch(body, text);
        std::vector<std::byte> def(nameFormula_[old].begin(), nameFormula_[old].end());
        rewrite(def);
        push16(body, static_cast<std::uint16_t>(def.size()));
        append(body, def);
        if (body.size() <= kMaxRecordData)
            emitRecord(out(), rt::ExternName, body);
    }

    void writeExternSheet()
    {
        std::vector<std::byte> body;
        push16(body, static_cast<std::uint16_t>(xtis_.size()));
        for (const Xti& x : xtis_) {
            push16(body, x.supBook);
            push16(body, x.first);
            push16(body, x.last);
        }
        // Split as Excel does: whole entries, CONTINUE records after the first.
        std::size_t at = 0;
        for (std::uint16_t type = rt::ExternSheet; at < body.size(); type = rt::Continue) {
            const std::size_t limit = type == rt::ExternSheet ? 2 + 1370 * 6 : 1370 * 6;
            const std::size_t n = std::min(body.size() - at, limit);
            emitRecord(out(), type, Bytes(body).subspan(at, n));
            at += n;
        }
    }

    void writeWindow(const ContinuedRecord& r)
    {
        const std::size_t at = out().size();
        emitRaw(out(), r);
        if (r.first.body.size() >= 16) {
            put16(out(), at + 4 + 10, 0);  // itabCur
            put16(out(), at + 4 + 12, 0);  // itabFirst
            put16(out(), at + 4 + 14, 1);  // ctabSel
        }
    }

    void writeTabIds(const Record& f)
    {
        std::vector<std::byte> body;
        if (f.body.size() >= 2 * (sheet_ + 1))
            append(body, f.body.subspan(2 * sheet_, 2));
        else
            push16(body, 1);
        emitRecord(out(), f.type, body);
    }

    // The sheet substream, byte for byte, closed where the stream cut it
    // short.
    void appendSheet()
    {
        newStart_ = out().size();
        put32(out(), boundSheetAt_ + 4, static_cast<std::uint32_t>(newStart_));
        for (std::size_t at = sheetStart_; at < sheetStop_;) {
            const std::size_t n = std::min(kSubstreamWindow, sheetStop_ - at);
            append(out(), sheets_.read(at, n));
            at += n;
        }
        for (int i = 0; i < unclosed_; ++i) {
            push16(out(), rt::Eof);
            push16(out(), 0);
        }
        result_.cutShort = unclosed_ != 0;
    }

    // The copied sheet again, with the formulas that reach outside it
    // replaced by their values.
    void keepValuesOnly()
    {
        const auto outside = [&](const Record& r) {
            for (const Span& f : formulasOf(r))
                if (reach_->formula(r.body.subspan(f.at, f.size)))
                    return true;
            return false;
        };
        auto alone = valuesOnlySheet(Bytes(out()).subspan(newStart_), sheetStart_, outside, values_, ctx_);
        result_.values = values_;
        out().resize(newStart_);
        append(out(), alone);
    }

    // The few fields of the copied sheet that change, read from the copy.
    void moveSheetFields()
    {
        const std::int64_t delta = static_cast<std::int64_t>(newStart_) - static_cast<std::int64_t>(sheetStart_);
        auto moved = [&](std::uint32_t pos) { return pos == 0 ? 0u : static_cast<std::uint32_t>(pos + delta); };
        RecordReader reader(Bytes(out()).subspan(newStart_), 0, ctx_);
        int depth = 0;
        while (!reader.atEnd()) {
            const Record r = reader.next();
            const std::size_t body = newStart_ + r.offset + 4;
            // Fields are read before the record's formulas change.
            switch (r.type) {
            case rt::Bof: ++depth; break;
            case rt::Eof: --depth; break;
            case rt::LabelSst: {
                const std::uint32_t isst = u32(r.body, 6);
                put32(out(), body + 6, isst < strings_.size() ? used_->newIndex(isst) : emptyIndex_);
                break;
            }
            case rt::Window2:
                if (depth == 1 && r.body.size() >= 2)
                    put16(out(), body, static_cast<std::uint16_t>(u16(r.body, 0) | 0x0600));  // fSelected, fPaged
                break;
            case rt::Index:
                if (depth == 1 && r.body.size() >= 16) {
                    put32(out(), body + 12, moved(u32(r.body, 12)));
                    for (std::size_t i = 16; i + 4 <= r.body.size(); i += 4)
                        put32(out(), body + i, moved(u32(r.body, i)));
                }
                break;
            case rt::Obj: noteEmbedding(r); break;
            default: break;
            }
            if (rewriteNames_) {
                const auto span = std::span<std::byte>(out()).subspan(body, r.body.size());
                for (const Span& f : formulasOf(r))
                    rewrite(span.subspan(f.at, f.size));
            }
        }
    }

    // Embedded OLE objects keep their data in ObjectPool/_<n>; n is in the
    // picture-formula subrecord (FtPictFmla, lPosInCtlStm).
    void noteEmbedding(const Record& r)
    {
        for (std::size_t at = 0; at + 4 <= r.body.size();) {
            const std::uint16_t ft = u16(r.body, at), cb = u16(r.body, at + 2);
            if (ft == 0x0009 && at + 4 + cb <= r.body.size())
                for (std::size_t i = at + 4; i + 4 <= at + 4 + cb; ++i)
                    result_.embeddings.insert(u32(r.body, i));
            if (ft == 0x0000 || ft == 0x0013)
                break;  // ftEnd; a list box's data has no size of its own
            at += 4 + cb;
        }
    }

    // The inputs.
    const Globals& globals_;
    const std::vector<ContinuedRecord>& records_;
    const SstTable& strings_;
    const std::size_t sheet_;
    Substreams& sheets_;
    const CopySource& source_;
    const StreamContext& ctx_;
    const std::size_t sheetStart_;

    // planNames, and for a copy that keeps values only, valuesReach.
    std::vector<std::uint16_t> newName_;
    std::vector<bool> keepName_;
    std::set<std::u16string> droppedNames_, keptNames_;
    bool namesMoved_ = false;

    // planExternalSheets
    std::vector<Xti> xtis_;
    int self_ = -1;
    std::uint16_t extBook_ = 0;
    bool needExt_ = false;

    // readNameDefinitions: by 1-based index
    std::vector<Bytes> nameFormula_{Bytes()};
    std::vector<std::uint16_t> nameItab_{0};
    std::vector<Bytes> nameRecord_{Bytes()};

    // A copy that keeps values only: what reaches outside the sheet.
    ValuesReport values_;
    std::unique_ptr<BiffReach> reach_;
    bool stillOutside_ = false;  // a formula that stays (a chart's) reads other sheets

    // prepareGathering
    std::map<std::uint16_t, std::vector<CellArea>> wanted_;
    std::vector<std::uint16_t> extNames_;                  // old name indices, in order of first use
    std::map<std::uint16_t, std::uint16_t> extNameIndex_;  // old -> 1-based index among extNames
    FormulaReader gather_;
    std::optional<RefArea> sharedCells_;  // while a shared formula is read: the cells it stands in

    // walkSheet
    std::optional<UsedStrings> used_;
    bool hasTable_ = false;
    std::uint32_t labelCount_ = 0;
    std::uint32_t emptied_ = 0;  // string cells that refer past the table
    std::size_t sheetStop_ = 0;
    int unclosed_ = 0;  // BOF records the stream's end left without their EOF

    // keepStrings
    std::vector<SstString> keptStrings_;
    std::size_t keptBytes_ = 0;
    std::uint32_t emptyIndex_ = 0;  // of the empty string the emptied cells get

    // prepareRenumbering
    bool rewriteNames_ = false;
    FormulaVisitor renumber_;

    std::vector<std::byte> cache_;
    std::size_t boundSheetAt_ = 0;
    std::size_t newStart_ = 0;
    SheetCopy result_;
};

}  // namespace

SheetCopy copySheet(const Globals& globals, const GlobalRecords& parsed, std::size_t sheet, Substreams& sheets,
                    const CopySource& source, const StreamContext& ctx)
{
    return OneSheetCopy(globals, parsed, sheet, sheets, source, ctx).make();
}

}  // namespace excel::biff
