#pragma once
// Checks a compound file's allocation tables before libgsf reads it.
//
// libgsf reads a stream by its size and trusts the tables on the way: a
// sector past the end of a cut file reads as empty, and a chain that runs
// back on itself yields the same sectors again. Either would give a copy
// built from the wrong bytes, so both are refused up front, naming the file.

#include <cstddef>
#include <span>
#include <string>

namespace excel::cfb {

// Throws tb::Error 1004 naming `file` when an allocated sector lies beyond the
// end of the file, or when the chain of the directory, the mini-stream table
// or any stream runs in a circle or into another chain [MS-CFB 2.3, 2.6].
// A header too odd to check is left to libgsf, which refuses it itself.
void checkAllocationTables(std::span<const std::byte> bytes, const std::string& file);

}  // namespace excel::cfb
