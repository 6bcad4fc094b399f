#pragma once
// The shared-string table [MS-XLS 2.4.265]: SST with its CONTINUE records,
// and EXTSST, the index into it that readers use to seek [2.4.107]. A string
// that crosses into a CONTINUE record repeats its flags byte there, so the
// table is read as one logical record and written back with the same rule.

#include "Records.h"

#include <algorithm>
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
// entry of eight bytes, so that a table of a million strings is a handful
// of allocations and its characters are not copied; the few strings with
// formatting runs or phonetic data have a second entry of their own.
class SstTable {
public:
    std::size_t size() const { return entries_.size(); }
    SstString operator[](std::size_t i) const
    {
        const Entry& e = entries_[i];
        const bool wide = e.where & kWide;
        const std::uint32_t where = e.where & kWhere;
        const std::byte* chars = (e.where & kJoined) ? joined_.data() + where : pieces_[where].data() + e.at;
        SstString s{Bytes(chars, e.cch * (wide ? 2u : 1u)), wide, {}, {}};
        if (e.where & kRich) {
            const auto r = std::lower_bound(rich_.begin(), rich_.end(), i,
                                            [](const Rich& r, std::size_t i) { return r.index < i; });
            const Bytes extra(extra_.data(), extra_.size());
            s.runs = extra.subspan(r->extra, 4u * r->runs);
            s.ext = extra.subspan(r->extra + 4u * r->runs, r->cbExt);
        }
        return s;
    }

private:
    friend SstTable parseSst(const ContinuedRecord& sst, const StreamContext& ctx);
    static constexpr std::uint32_t kWide = 1u << 31, kJoined = 1u << 30, kRich = 1u << 29, kWhere = kRich - 1;
    struct Entry {
        std::uint32_t where;  // the flags above, then the piece the characters lie in or their offset in joined_
        std::uint16_t at;     // in the piece
        std::uint16_t cch;
    };
    struct Rich {
        std::uint32_t index, extra, cbExt;  // extra: where the runs start in extra_, the phonetic data after them
        std::uint16_t runs;
    };
    std::vector<Bytes> pieces_;      // of the SST record, which must outlive the table
    std::vector<std::byte> joined_;  // split strings, as UTF-16LE
    std::vector<std::byte> extra_;
    std::vector<Entry> entries_;
    std::vector<Rich> rich_;  // in the order of their strings
};

// The bytes of `sst`'s pieces must outlive the table.
SstTable parseSst(const ContinuedRecord& sst, const StreamContext& ctx);

// Appends SST (with CONTINUE records as needed) and EXTSST to `stream`,
// whose current size is the stream position where SST begins. `total` is
// the number of cells that refer to the table.
void writeSst(std::vector<std::byte>& stream, const std::vector<SstString>& strings, std::uint32_t total);

}  // namespace excel::biff
