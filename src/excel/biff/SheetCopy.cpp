#include "SheetCopy.h"

#include "ExternalCache.h"
#include "Formula.h"
#include "RecordTypes.h"
#include "Sst.h"
#include "Strings.h"
#include "UsedStrings.h"
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

// One copy, made in the steps below; what a step finds, the later ones use.
class OneSheetCopy {
public:
    OneSheetCopy(const Globals& globals, const GlobalRecords& parsed, std::size_t sheet, Substreams& sheets,
                 const CopySource& source, const StreamContext& ctx)
        : globals_(globals), records_(parsed.records), strings_(parsed.strings), sheet_(sheet), sheets_(sheets),
          source_(source), ctx_(ctx), sheetStart_(globals.sheets.at(sheet).position)
    {
    }

    SheetCopy make()
    {
        planNames();
        planExternalSheets();
        readNameDefinitions();
        prepareGathering();
        walkSheet();
        keepStrings();
        gatherFromKeptNames();
        prepareRenumbering();
        reserveCopy();
        writeGlobals();
        appendSheet();
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
                throwDamaged(ctx_, r.first, "a defined name needs 14 bytes, found " + std::to_string(r.first.body.size()));
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
            const CellArea area{ref.rowFirst, ref.rowLast, std::min(ref.colFirst, ref.colLast),
                                std::max(ref.colFirst, ref.colLast)};
            for (std::uint32_t t = xtis_[ref.ixti].first; t <= xtis_[ref.ixti].last && t < globals_.sheets.size();
                 ++t) {
                // Formulas filled down reach a column a row at a time: one area
                // grows instead of one per formula.
                auto& areas = wanted_[static_cast<std::uint16_t>(t)];
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
        gather_.nameX = [this](std::uint16_t ixti, std::uint16_t old) {
            if (ixti >= xtis_.size() || xtis_[ixti].supBook != extBook_ || old == 0 || old >= nameFormula_.size() ||
                extNameIndex_.count(old))
                return;
            extNames_.push_back(old);
            extNameIndex_[old] = static_cast<std::uint16_t>(extNames_.size());
            readFormula(nameFormula_[old], gather_);  // names within names
        };
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
        SubstreamRecords reader(sheets_, sheetStart_, ctx_);
        int depth = 0;
        do {
            if (reader.atEnd())
                throwDamagedAt(ctx_, reader.position(), "the sheet that starts at offset " +
                                                            std::to_string(sheetStart_) + " ends without an EOF record");
            const Record r = reader.next();
            if (depth == 0 && r.type != rt::Bof && r.type != rt::Eof)
                throwDamaged(ctx_, r, "expected the sheet's BOF record, found " + hex4(r.type));
            switch (r.type) {
            case rt::Bof: ++depth; break;
            case rt::Eof: --depth; break;
            case rt::LabelSst: {
                if (r.body.size() < 10)
                    throwDamaged(ctx_, r, "a string cell needs 10 bytes, found " + std::to_string(r.body.size()));
                const std::uint32_t isst = u32(r.body, 6);
                if (isst >= strings_.size())
                    throwDamaged(ctx_, r, "the cell refers to shared string " + std::to_string(isst) + " of " +
                                              std::to_string(strings_.size()));
                used_->mark(isst);
                ++labelCount_;
                break;
            }
            default:
                if (needExt_)
                    for (const Span& f : formulasOf(r))
                        readFormula(r.body.subspan(f.at, f.size), gather_);
            }
        } while (depth > 0);
        sheetStop_ = reader.position();
    }

    // Kept strings in their old order.
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

    // The copy's stream is the globals with the pruned table in place of
    // the source's, then the sheet: reserved so that it is never moved, and
    // without the whole source table, which would tie memory to the
    // workbook's other sheets.
    void reserveCopy()
    {
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
        const std::size_t sheetSize = sheetStop_ - sheetStart_;
        out().reserve(globals_.end - std::min(sourceTable, globals_.end) + keptTable + external + sheetSize);
    }

    std::vector<std::byte>& out() { return result_.stream; }

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
            case rt::Sst:
                writeSst(out(), keptStrings_, labelCount_);
                break;
            case rt::ExtSst:
                break;  // written with the SST
            case rt::Name:
                if (keepName_[nameNo])
                    writeName(r);
                ++nameNo;
                break;
            case rt::NameCmt: {
                std::u16string n;
                std::size_t at = 16;
                if (f.body.size() >= 16 && readStringNoCch(f.body, at, u16(f.body, 12), n) &&
                    droppedNames_.count(n) && !keptNames_.count(n))
                    break;
                emitRaw(out(), r);
                break;
            }
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
            case rt::Window1: {
                const std::size_t at = out().size();
                emitRaw(out(), r);
                if (f.body.size() >= 16) {
                    put16(out(), at + 4 + 10, 0);  // itabCur
                    put16(out(), at + 4 + 12, 0);  // itabFirst
                    put16(out(), at + 4 + 14, 1);  // ctabSel
                }
                break;
            }
            case rt::TabId:
            case rt::RrTabId: {
                std::vector<std::byte> body;
                if (f.body.size() >= 2 * (sheet_ + 1))
                    append(body, f.body.subspan(2 * sheet_, 2));
                else
                    push16(body, 1);
                emitRecord(out(), f.type, body);
                break;
            }
            case rt::ObjProj:       // the VBA project stays behind
            case rt::WriteProtect:  // a copy carries no protection of the source file
            case rt::FileSharing:
                break;
            default:
                emitRaw(out(), r);
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
        for (std::uint16_t old : extNames_) {
            // ExternName with an ExternDocName [MS-XLS 2.5.100]: the
            // name, its sheet in the SUPBOOK (1-based, 0 for the
            // workbook) and its definition, whose XTIs stay valid.
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
        append(out(), cache_);
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

    // The sheet substream, byte for byte, then the few fields that change,
    // read from the copy.
    void appendSheet()
    {
        const std::size_t newStart = out().size();
        put32(out(), boundSheetAt_ + 4, static_cast<std::uint32_t>(newStart));
        for (std::size_t at = sheetStart_; at < sheetStop_;) {
            const std::size_t n = std::min(kSubstreamWindow, sheetStop_ - at);
            append(out(), sheets_.read(at, n));
            at += n;
        }
        const std::int64_t delta = static_cast<std::int64_t>(newStart) - static_cast<std::int64_t>(sheetStart_);
        auto moved = [&](std::uint32_t pos) { return pos == 0 ? 0u : static_cast<std::uint32_t>(pos + delta); };
        RecordReader reader(Bytes(out()).subspan(newStart), 0, ctx_);
        int depth = 0;
        while (!reader.atEnd()) {
            const Record r = reader.next();
            const std::size_t body = newStart + r.offset + 4;
            // Fields are read before the record's formulas change.
            switch (r.type) {
            case rt::Bof: ++depth; break;
            case rt::Eof: --depth; break;
            case rt::LabelSst: put32(out(), body + 6, used_->newIndex(u32(r.body, 6))); break;
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

    const Globals& globals_;
    const std::vector<ContinuedRecord>& records_;
    const SstTable& strings_;
    const std::size_t sheet_;
    Substreams& sheets_;
    const CopySource& source_;
    const StreamContext& ctx_;
    const std::size_t sheetStart_;

    std::vector<std::uint16_t> newName_;
    std::vector<bool> keepName_;
    std::set<std::u16string> droppedNames_, keptNames_;
    bool namesMoved_ = false;

    std::vector<Xti> xtis_;
    int self_ = -1;
    std::uint16_t extBook_ = 0;
    bool needExt_ = false;

    std::vector<Bytes> nameFormula_{Bytes()};
    std::vector<std::uint16_t> nameItab_{0};
    std::vector<Bytes> nameRecord_{Bytes()};

    std::map<std::uint16_t, std::vector<CellArea>> wanted_;
    std::vector<std::uint16_t> extNames_;                   // old name indices, in order of first use
    std::map<std::uint16_t, std::uint16_t> extNameIndex_;   // old -> 1-based index among extNames
    FormulaReader gather_;

    std::optional<UsedStrings> used_;
    std::uint32_t labelCount_ = 0;
    std::size_t sheetStop_ = 0;
    std::vector<SstString> keptStrings_;
    std::size_t keptBytes_ = 0;

    bool rewriteNames_ = false;
    FormulaVisitor renumber_;

    std::vector<std::byte> cache_;
    std::size_t boundSheetAt_ = 0;
    SheetCopy result_;
};

}  // namespace

SheetCopy copySheet(const Globals& globals, const GlobalRecords& parsed, std::size_t sheet, Substreams& sheets,
                    const CopySource& source, const StreamContext& ctx)
{
    return OneSheetCopy(globals, parsed, sheet, sheets, source, ctx).make();
}

}  // namespace excel::biff
