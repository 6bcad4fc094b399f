#pragma once
// The shared-string table [MS-XLS 2.4.265]: SST with its CONTINUE records,
// and EXTSST, the index into it that readers use to seek [2.4.107]. A string
// that crosses into a CONTINUE record repeats its flags byte there, so the
// table is read as one logical record and written back with the same rule.

#include "Records.h"

#include <cstdint>
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

// A parsed table. A string that lies in one record is left where it is, in
// that record's bytes; one split across records is joined into a buffer of
// the table's own, as are all runs and phonetic data. Each string is an
// entry of offsets, so that a table of a million strings is a handful of
// allocations and its characters are not copied.
class SstTable {
public:
    std::size_t size() const { return entries_.size(); }
    SstString operator[](std::size_t i) const
    {
        const Entry& e = entries_[i];
        const bool wide = e.flags & kWide;
        const std::byte* chars = (e.flags & kJoined) ? joined_.data() + e.where : pieces_[e.where].data() + e.at;
        const Bytes extra(extra_.data(), extra_.size());
        return {Bytes(chars, e.cch * (wide ? 2u : 1u)), wide, extra.subspan(e.extra, 4u * e.runs),
                extra.subspan(e.extra + 4u * e.runs, e.cbExt)};
    }

private:
    friend SstTable parseSst(const ContinuedRecord& sst, const StreamContext& ctx);
    static constexpr std::uint8_t kWide = 0x01, kJoined = 0x02;
    struct Entry {
        std::uint32_t where;  // the piece the characters lie in, or their offset in joined_
        std::uint32_t extra, cbExt;
        std::uint16_t at;  // in the piece
        std::uint16_t cch, runs;
        std::uint8_t flags;
    };
    std::vector<Bytes> pieces_;      // of the SST record, which must outlive the table
    std::vector<std::byte> joined_;  // split strings, as UTF-16LE
    std::vector<std::byte> extra_;
    std::vector<Entry> entries_;
};

// The bytes of `sst`'s pieces must outlive the table.
SstTable parseSst(const ContinuedRecord& sst, const StreamContext& ctx);

// Appends SST (with CONTINUE records as needed) and EXTSST to `stream`,
// whose current size is the stream position where SST begins. `total` is
// the number of cells that refer to the table.
void writeSst(std::vector<std::byte>& stream, const std::vector<SstString>& strings, std::uint32_t total);

}  // namespace excel::biff
