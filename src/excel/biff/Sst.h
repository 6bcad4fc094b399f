#pragma once
// The shared-string table [MS-XLS 2.4.265]: SST with its CONTINUE records,
// and EXTSST, the index into it that readers use to seek [2.4.107]. A string
// that crosses into a CONTINUE record repeats its flags byte there, so the
// table is read as one logical record and written back with the same rule.

#include "Records.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace excel::biff {

// One string of the table, as views into the stream or into its SstTable.
struct SstString {
    Bytes chars;  // as stored: a byte per character, or two (UTF-16LE) when `wide`
    bool wide = false;
    Bytes runs;  // formatting runs, 4 bytes each
    Bytes ext;   // phonetic data (ExtRst), as stored
    std::size_t size() const { return wide ? chars.size() / 2 : chars.size(); }
    std::u16string text() const;
};

// Reads across the pieces of a continued record: the SST's body, then each
// CONTINUE body.
class PieceReader {
public:
    PieceReader(std::span<const Bytes> pieces, const Record& first, const StreamContext& ctx)
        : pieces_(pieces), first_(first), ctx_(ctx)
    {
    }

    std::size_t piece() const { return piece_; }
    std::size_t at() const { return at_; }
    void seek(std::size_t piece, std::size_t at) { piece_ = piece, at_ = at; }
    std::size_t leftInPiece() const { return piece_ < pieces_.size() ? pieces_[piece_].size() - at_ : 0; }
    bool nextPiece();
    // The next `n` bytes lie in one piece: throws when they do not.
    void need(std::size_t n, const char* what)
    {
        if (leftInPiece() < n)
            needAcross(n, what);
    }
    std::uint8_t byte(const char* what)
    {
        need(1, what);
        return u8(pieces_[piece_], at_++);
    }
    std::uint16_t word(const char* what)
    {
        need(2, what);
        const auto v = u16(pieces_[piece_], at_);
        at_ += 2;
        return v;
    }
    std::uint32_t dword(const char* what)
    {
        need(4, what);
        const auto v = u32(pieces_[piece_], at_);
        at_ += 4;
        return v;
    }
    // Raw bytes that may cross pieces anywhere, appended to `out`.
    void bytes(std::size_t n, std::vector<std::byte>& out, const char* what);
    // Past `n` bytes that may cross pieces anywhere.
    void skip(std::size_t n, const char* what);
    // A string's characters where they lie, when they lie in one piece.
    // Otherwise they are joined into `joined` as UTF-16LE (a new piece
    // starts with a flags byte of its own, so the width can change) and
    // `inPlace` is false.
    Bytes chars(std::size_t cch, bool& wide, std::vector<std::byte>& joined, bool& inPlace);

private:
    void needAcross(std::size_t n, const char* what);
    // Past `n` bytes, appended to `out` unless it is null.
    void pass(std::size_t n, std::vector<std::byte>* out, const char* what);

    std::span<const Bytes> pieces_;
    const Record& first_;
    const StreamContext& ctx_;
    std::size_t piece_ = 0;
    std::size_t at_ = 0;
};

// A parsed table. A string that lies in one record is left where it is, in
// that record's bytes; one split across records is joined into a buffer of
// the table's own, as are all runs and phonetic data. Only every
// kCheckpoint-th string's place is kept, and a string is found by reading
// on from there, so that the index is small beside the table however many
// strings it holds; a Walk reads strings in rising order without going
// back to a checkpoint for each.
class SstTable {
public:
    static constexpr std::size_t kCheckpoint = 32;

    // The strings read, and the number the table claims to hold: fewer are
    // read where the table ends early or is damaged.
    std::size_t size() const { return size_; }
    std::size_t claimed() const { return claimed_; }
    SstString operator[](std::size_t i) const;

    class Walk {
    public:
        explicit Walk(const SstTable& table) : t_(table), in_(table.pieces_, table.first_, table.ctx_) {}
        // String `i`; read on from the one before when `i` is at most a
        // checkpoint's distance past it.
        SstString operator()(std::size_t i);

    private:
        const SstTable& t_;
        PieceReader in_;
        std::size_t next_ = SIZE_MAX;  // the string in_ stands at
    };

private:
    friend SstTable parseSst(const ContinuedRecord& sst, const StreamContext& ctx);
    struct Place {
        std::uint32_t piece, at;
    };
    struct Joined {
        std::uint32_t index, at;  // at: where its characters start in joined_
    };
    struct Rich {
        std::uint32_t index, extra, cbExt;  // extra: where the runs start in extra_, the phonetic data after them
        std::uint16_t runs;
    };
    // Reads the string in front of `in`, the table's `i`-th.
    SstString read(PieceReader& in, std::size_t i) const;
    void seek(PieceReader& in, std::size_t i) const;

    std::vector<Bytes> pieces_;  // of the SST record, which must outlive the table
    Record first_;
    StreamContext ctx_;
    std::size_t size_ = 0;
    std::size_t claimed_ = 0;
    std::vector<Place> checkpoints_;  // of strings 0, kCheckpoint, 2 kCheckpoint, ...
    std::vector<std::byte> joined_;   // split strings, as UTF-16LE
    std::vector<Joined> split_;       // in the order of their strings
    std::vector<std::byte> extra_;
    std::vector<Rich> rich_;  // in the order of their strings
};

// The bytes of `sst`'s pieces must outlive the table. Reads as many strings
// as the table claims and its records hold; throws only when the header is short.
SstTable parseSst(const ContinuedRecord& sst, const StreamContext& ctx);

// Appends SST (with CONTINUE records as needed) and EXTSST to `stream`,
// whose current size is the stream position where SST begins. `total` is
// the number of cells that refer to the table.
void writeSst(std::vector<std::byte>& stream, const std::vector<SstString>& strings, std::uint32_t total);

}  // namespace excel::biff
