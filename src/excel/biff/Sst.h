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

// One string of the table, as views into the storage of its SstTable.
struct SstString {
    std::u16string_view text;
    Bytes runs;  // formatting runs, 4 bytes each
    Bytes ext;   // phonetic data (ExtRst), as stored
};

// A parsed table. The characters of every string share one buffer, as do
// their runs and phonetic data, and each string is 16 bytes of offsets, so
// that a table of a million strings is a handful of allocations.
class SstTable {
public:
    std::size_t size() const { return entries_.size(); }
    SstString operator[](std::size_t i) const
    {
        const Entry& e = entries_[i];
        const Bytes extra(extra_.data(), extra_.size());
        return {std::u16string_view(chars_.data() + e.text, e.cch), extra.subspan(e.extra, 4u * e.runs),
                extra.subspan(e.extra + 4u * e.runs, e.cbExt)};
    }

private:
    friend SstTable parseSst(const ContinuedRecord& sst, const StreamContext& ctx);
    struct Entry {
        std::uint32_t text, extra, cbExt;
        std::uint16_t cch, runs;
    };
    std::vector<char16_t> chars_;
    std::vector<std::byte> extra_;
    std::vector<Entry> entries_;
};

SstTable parseSst(const ContinuedRecord& sst, const StreamContext& ctx);

// Appends SST (with CONTINUE records as needed) and EXTSST to `stream`,
// whose current size is the stream position where SST begins. `total` is
// the number of cells that refer to the table.
void writeSst(std::vector<std::byte>& stream, const std::vector<SstString>& strings, std::uint32_t total);

}  // namespace excel::biff
