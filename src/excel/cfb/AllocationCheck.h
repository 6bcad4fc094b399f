#pragma once
// Checks a compound file's allocation tables before libgsf reads it, and
// mends what can be read past.
//
// libgsf reads a stream by its size and trusts the tables on the way: a
// sector past the end of a cut file reads as empty, and a chain that runs
// back on itself yields the same sectors again. Either would give a copy
// built from the wrong bytes. So a stream whose chain runs past the end of
// the file is read up to there, as other readers read it, and one whose
// chain runs in a circle or into another chain where its bytes lie is not
// read at all; the directory's own chains must be whole.

#include <cstddef>
#include <map>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace excel::cfb {

struct AllocationFindings {
    // Streams that cannot be read, by path ("Workbook", "ObjectPool/_1/\x01Ole"),
    // with what is wrong, for the error that reading one gives.
    std::map<std::string, std::string> unreadable;
    // A copy of the file with the chains of cut streams ended where the file
    // ends and their sizes set to what is there; empty when none was cut.
    std::vector<std::byte> mended;
    // What was mended: the stream's path (empty for the file as a whole)
    // and a sentence about the file.
    std::vector<std::pair<std::string, std::string>> repairs;
};

// Throws tb::Error 1004 naming `file` when the directory or the mini-stream
// table cannot be read whole, or an allocation table sector lies beyond the
// end [MS-CFB 2.3, 2.6]. A header too odd to check is left to libgsf, which
// refuses it itself.
AllocationFindings checkAllocationTables(std::span<const std::byte> bytes, const std::string& file);

}  // namespace excel::cfb
