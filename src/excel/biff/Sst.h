#pragma once
// The shared-string table [MS-XLS 2.4.265]: SST with its CONTINUE records,
// and EXTSST, the index into it that readers use to seek [2.4.107]. A string
// that crosses into a CONTINUE record repeats its flags byte there, so the
// table is read as one logical record and written back with the same rule.

#include "Records.h"

#include <cstdint>
#include <string>
#include <vector>

namespace excel::biff {

struct SstString {
    std::u16string text;
    std::vector<std::byte> runs;  // formatting runs, 4 bytes each
    std::vector<std::byte> ext;   // phonetic data (ExtRst), as stored
};

std::vector<SstString> parseSst(const ContinuedRecord& sst, const StreamContext& ctx);

// Appends SST (with CONTINUE records as needed) and EXTSST to `stream`,
// whose current size is the stream position where SST begins. `total` is
// the number of cells that refer to the table.
void writeSst(std::vector<std::byte>& stream, const std::vector<const SstString*>& strings, std::uint32_t total);

}  // namespace excel::biff
