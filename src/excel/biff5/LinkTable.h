#pragma once
// One EXTERNSHEET list of an Excel 5.0/95 stream: the globals have one for
// the names' formulas, and each sheet (and each chart in it) one for its
// own formulas. A copy keeps every entry where it was, so that the indices
// in formulas stay valid; entries that name another sheet of the workbook
// become references to that sheet in the source file, and a reference
// that reached another sheet is pointed at such an entry.

#include "Formula5.h"
#include "Globals5.h"
#include "excel/biff/Bytes.h"

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace excel::biff5 {

class LinkTable {
public:
    // `kept`: the sheet being copied; `sourceLink`: the encoded path of the
    // source file up to its sheet names (see externalPrefix).
    LinkTable(const Globals5& globals, std::size_t kept, std::string sourceLink)
        : globals_(globals), kept_(kept), sourceLink_(std::move(sourceLink))
    {
    }

    // An EXTERNSHEET record of the source, in order.
    void add(biff::Bytes body);
    // Points a 3D reference of the copy at the one sheet or at the source.
    void rewrite(SheetRef ref);

    // The entries of the copy: the rewritten source ones, then the added.
    std::size_t sourceCount() const { return entries_.size() - added_; }
    const std::vector<std::vector<std::byte>>& entries() const { return entries_; }
    std::size_t added() const { return added_; }

private:
    std::size_t entryFor(std::size_t tab);
    std::vector<std::byte> external(std::size_t tab) const;

    const Globals5& globals_;
    std::size_t kept_;
    std::string sourceLink_;
    std::vector<std::vector<std::byte>> entries_;
    std::map<std::size_t, std::size_t> externalOf_;  // sheet -> 1-based entry
    std::size_t added_ = 0;
};

// "\x02dir\x03dir\x03[file]": the path of the source file as an encoded
// document name, in the workbook's code page, which the sheet name follows.
std::string externalPrefix(const std::string& fullName, const CodePage& codePage);

}  // namespace excel::biff5
