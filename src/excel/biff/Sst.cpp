#include "Sst.h"

#include "RecordTypes.h"

#include <algorithm>

namespace excel::biff {

namespace {

constexpr std::size_t kMaxRecordData = 8224;

// Builds SST and CONTINUE records, starting a CONTINUE whenever the current
// record is full.
class SstWriter {
public:
    SstWriter(std::vector<std::byte>& stream) : s_(stream) { open(rt::Sst); }

    std::size_t room() const { return kMaxRecordData - (s_.size() - bodyStart_); }
    void open(std::uint16_t type)
    {
        recordStart_ = s_.size();
        push16(s_, type);
        push16(s_, 0);
        bodyStart_ = s_.size();
    }
    void close() { put16(s_, recordStart_ + 2, static_cast<std::uint16_t>(s_.size() - bodyStart_)); }
    void next()
    {
        close();
        open(rt::Continue);
    }
    std::size_t recordStart() const { return recordStart_; }
    std::vector<std::byte>& out() { return s_; }

private:
    std::vector<std::byte>& s_;
    std::size_t recordStart_ = 0;
    std::size_t bodyStart_ = 0;
};

}  // namespace

bool PieceReader::nextPiece()
{
    if (piece_ + 1 >= pieces_.size())
        return false;
    ++piece_;
    at_ = 0;
    return true;
}

void PieceReader::needAcross(std::size_t n, const char* what)
{
    while (leftInPiece() == 0)
        if (!nextPiece())
            throwDamaged(ctx_, first_, std::string("the shared-string table ends inside ") + what);
    if (leftInPiece() < n)
        throwDamaged(ctx_, first_, std::string("a string header is split across records: ") + what);
}

void PieceReader::bytes(std::size_t n, std::vector<std::byte>& out, const char* what)
{
    pass(n, &out, what);
}

void PieceReader::skip(std::size_t n, const char* what)
{
    pass(n, nullptr, what);
}

void PieceReader::pass(std::size_t n, std::vector<std::byte>* out, const char* what)
{
    while (n > 0) {
        while (leftInPiece() == 0)
            if (!nextPiece())
                throwDamaged(ctx_, first_, std::string("the shared-string table ends inside ") + what);
        const std::size_t k = std::min(n, leftInPiece());
        if (out)
            append(*out, pieces_[piece_].subspan(at_, k));
        at_ += k;
        n -= k;
    }
}

Bytes PieceReader::chars(std::size_t cch, bool& wide, std::vector<std::byte>& joined, bool& inPlace)
{
    inPlace = true;
    if (cch == 0)
        return {};
    if (leftInPiece() >= cch * (wide ? 2 : 1)) {
        const Bytes p = pieces_[piece_].subspan(at_, cch * (wide ? 2 : 1));
        at_ += p.size();
        return p;
    }
    inPlace = false;
    const std::size_t start = joined.size();
    while (cch > 0) {
        if (leftInPiece() == 0) {
            if (!nextPiece())
                throwDamaged(ctx_, first_, "the shared-string table ends inside a string");
            wide = u8(pieces_[piece_], at_++) & 0x01;
            continue;
        }
        const Bytes p = pieces_[piece_];
        const std::size_t unit = wide ? 2 : 1;
        const std::size_t k = std::min(cch, leftInPiece() / unit);
        if (k == 0)
            throwDamaged(ctx_, first_, "a character is split across records");
        for (std::size_t i = 0; i < k; ++i) {
            joined.push_back(p[at_ + unit * i]);
            joined.push_back(wide ? p[at_ + 2 * i + 1] : std::byte(0));
        }
        at_ += k * unit;
        cch -= k;
    }
    wide = true;
    return Bytes(joined).subspan(start);
}

std::u16string SstString::text() const
{
    std::u16string s(size(), u'\0');
    for (std::size_t i = 0; i < s.size(); ++i)
        s[i] = wide ? static_cast<char16_t>(u16(chars, 2 * i)) : static_cast<char16_t>(u8(chars, i));
    return s;
}

namespace {

struct StringHeader {
    std::uint16_t cch;
    bool wide;
    std::uint16_t runs;
    std::uint32_t ext;
};

StringHeader readHeader(PieceReader& in)
{
    StringHeader h{};
    h.cch = in.word("a string header");
    const std::uint8_t flags = in.byte("a string header");
    h.wide = flags & 0x01;
    h.runs = (flags & 0x08) ? in.word("a string header") : 0;
    h.ext = (flags & 0x04) ? in.dword("a string header") : 0;
    return h;
}

}  // namespace

SstTable parseSst(const ContinuedRecord& sst, const StreamContext& ctx)
{
    if (sst.first.body.size() < 8)
        throwDamaged(ctx, sst.first, "the shared-string table needs 8 bytes of header");
    const std::uint32_t unique = u32(sst.first.body, 4);
    // The count can be wrong in files from other writers. As other readers
    // do, at most that many strings are read, and no more than the records
    // hold: a count beyond them is no size to allocate for.
    std::size_t budget = 0;
    for (Bytes p : sst.pieces)
        budget += p.size();
    if (sst.pieces.size() > UINT32_MAX || budget > UINT32_MAX)
        throwDamaged(ctx, sst.first, "the shared-string table is too large to index");
    SstTable table;
    table.pieces_ = sst.pieces;
    table.first_ = sst.first;
    table.ctx_ = ctx;
    table.claimed_ = unique;
    const std::size_t most = std::min<std::size_t>(unique, budget / 3 + 1);
    table.checkpoints_.reserve(most / SstTable::kCheckpoint + 1);
    // Every string is read here, so that damage anywhere in the table is
    // found now; a lookup later reads again only from a checkpoint on. The
    // table ends where its records end or are damaged: the strings before
    // are kept, and cells that refer past them read as empty.
    PieceReader in(table.pieces_, table.first_, table.ctx_);
    std::vector<std::byte> skip;
    in.bytes(8, skip, "its header");
    try {
        for (std::uint32_t i = 0; i < most; ++i) {
            if (i % SstTable::kCheckpoint == 0)
                table.checkpoints_.push_back({static_cast<std::uint32_t>(in.piece()), static_cast<std::uint32_t>(in.at())});
            const StringHeader h = readHeader(in);
            if (h.ext > budget)
                throwDamaged(ctx, sst.first, "string " + std::to_string(i) + " claims " + std::to_string(h.ext) +
                                                 " bytes of phonetic data");
            bool wide = h.wide, inPlace = true;
            const std::size_t joinedAt = table.joined_.size();
            in.chars(h.cch, wide, table.joined_, inPlace);
            const std::size_t extraAt = table.extra_.size();
            in.bytes(4u * h.runs, table.extra_, "formatting runs");
            in.bytes(h.ext, table.extra_, "phonetic data");
            if (table.joined_.size() > UINT32_MAX || table.extra_.size() > UINT32_MAX)
                throwDamaged(ctx, sst.first, "the shared-string table is too large to index (string " + std::to_string(i) + ")");
            if (!inPlace)
                table.split_.push_back({i, static_cast<std::uint32_t>(joinedAt)});
            if (h.runs != 0 || h.ext != 0)
                table.rich_.push_back({i, static_cast<std::uint32_t>(extraAt), h.ext, h.runs});
            table.size_ = i + 1;
        }
    } catch (const tb::Error&) {
        // Read up to the string that does not fit: the rest of the table is gone.
    }
    return table;
}

SstString SstTable::read(PieceReader& in, std::size_t i) const
{
    // The table was read whole when parsed: nothing here can be damage.
    const StringHeader h = readHeader(in);
    SstString s;
    bool wide = h.wide, inPlace = true;
    std::vector<std::byte> scratch;
    s.chars = in.chars(h.cch, wide, scratch, inPlace);
    s.wide = wide;
    if (!inPlace) {
        const auto j = std::lower_bound(split_.begin(), split_.end(), i,
                                        [](const Joined& j, std::size_t i) { return j.index < i; });
        s.chars = Bytes(joined_).subspan(j->at, 2u * h.cch);
    }
    if (h.runs != 0 || h.ext != 0) {
        const auto r = std::lower_bound(rich_.begin(), rich_.end(), i,
                                        [](const Rich& r, std::size_t i) { return r.index < i; });
        const Bytes extra(extra_);
        s.runs = extra.subspan(r->extra, 4u * r->runs);
        s.ext = extra.subspan(r->extra + 4u * r->runs, r->cbExt);
        in.skip(4u * h.runs + h.ext, "formatting runs or phonetic data");
    }
    return s;
}

void SstTable::seek(PieceReader& in, std::size_t i) const
{
    const Place& c = checkpoints_[i / kCheckpoint];
    in.seek(c.piece, c.at);
    for (std::size_t j = i - i % kCheckpoint; j < i; ++j)
        read(in, j);
}

SstString SstTable::operator[](std::size_t i) const
{
    PieceReader in(pieces_, first_, ctx_);
    seek(in, i);
    return read(in, i);
}

SstString SstTable::Walk::operator()(std::size_t i)
{
    // On from the last string read, unless the checkpoint is nearer.
    if (next_ <= i && i - next_ <= i % kCheckpoint)
        for (; next_ < i; ++next_)
            t_.read(in_, next_);
    else
        t_.seek(in_, i);
    next_ = i + 1;
    return t_.read(in_, i);
}

void writeSst(std::vector<std::byte>& stream, const std::vector<SstString>& strings, std::uint32_t total)
{
    // Excel's own bucket size for EXTSST: at least 8 strings, at most 128 buckets.
    const std::size_t perBucket = std::max<std::size_t>(8, (strings.size() + 127) / 128);
    std::vector<std::pair<std::uint32_t, std::uint16_t>> buckets;

    SstWriter w(stream);
    push32(stream, total);
    push32(stream, static_cast<std::uint32_t>(strings.size()));
    for (std::size_t i = 0; i < strings.size(); ++i) {
        const SstString& s = strings[i];
        // Written one byte a character unless a character needs two,
        // whatever the source did.
        bool wide = false;
        if (s.wide)
            for (std::size_t j = 1; j < s.chars.size() && !wide; j += 2)
                wide = s.chars[j] != std::byte(0);
        const std::size_t unit = wide ? 2 : 1;
        const std::size_t cch = s.size();
        const std::size_t header = 3 + (s.runs.empty() ? 0 : 2) + (s.ext.empty() ? 0 : 4);
        // The header and the first character stay in one record.
        if (w.room() < header + (cch == 0 ? 0 : unit))
            w.next();
        if (i % perBucket == 0)
            buckets.emplace_back(static_cast<std::uint32_t>(stream.size()),
                                 static_cast<std::uint16_t>(stream.size() - w.recordStart()));
        push16(stream, static_cast<std::uint16_t>(cch));
        push8(stream, static_cast<std::uint8_t>((wide ? 0x01 : 0) | (s.ext.empty() ? 0 : 0x04) | (s.runs.empty() ? 0 : 0x08)));
        if (!s.runs.empty())
            push16(stream, static_cast<std::uint16_t>(s.runs.size() / 4));
        if (!s.ext.empty())
            push32(stream, static_cast<std::uint32_t>(s.ext.size()));
        std::size_t done = 0;
        while (done < cch) {
            const std::size_t k = std::min(cch - done, w.room() / unit);
            if (k == 0) {
                w.next();
                push8(stream, wide ? 1 : 0);
                continue;
            }
            if (wide == s.wide) {
                append(stream, s.chars.subspan(done * unit, k * unit));
            } else {  // stored wide, every character fits a byte
                const std::size_t at = stream.size();
                stream.resize(at + k);
                for (std::size_t j = 0; j < k; ++j)
                    stream[at + j] = s.chars[2 * (done + j)];
            }
            done += k;
        }
        // Formatting runs whole, four bytes at a time; phonetic data anywhere.
        for (std::size_t r = 0; r < s.runs.size(); r += 4) {
            if (w.room() < 4)
                w.next();
            append(stream, Bytes(s.runs).subspan(r, std::min<std::size_t>(4, s.runs.size() - r)));
        }
        for (std::size_t e = 0; e < s.ext.size();) {
            if (w.room() == 0)
                w.next();
            const std::size_t k = std::min(w.room(), s.ext.size() - e);
            append(stream, Bytes(s.ext).subspan(e, k));
            e += k;
        }
    }
    w.close();

    push16(stream, rt::ExtSst);
    push16(stream, static_cast<std::uint16_t>(2 + 8 * buckets.size()));
    push16(stream, static_cast<std::uint16_t>(perBucket));
    for (const auto& [ib, cb] : buckets) {
        push32(stream, ib);
        push16(stream, cb);
        push16(stream, 0);
    }
}

}  // namespace excel::biff
