#pragma once
// Unicode text files as the settings file uses them: UTF-16 little-endian,
// lines ended by CR LF. Parsing works on a buffer; the file functions are thin
// wrappers over it.

#include <cstddef>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace scripting {

// Splits UTF-16LE bytes into lines without their ends. A leading byte-order
// mark FF FE is skipped. CR LF, a lone LF and a lone CR each end a line; a
// last line without an end is a line too; an odd last byte is ignored.
std::vector<std::u16string> parseUtf16Lines(std::span<const std::byte> bytes);

// The bytes of a file holding `lines`: FF FE, then each line and CR LF.
std::vector<std::byte> encodeUtf16Lines(const std::vector<std::u16string>& lines);

// Reads a whole file's lines. Throws tb::Error 53 when the file does not
// exist, 70 when it may not be read.
std::vector<std::u16string> readUtf16File(const std::filesystem::path& path);

// Rewrites an existing file with `lines`, atomically: a failure leaves the
// old file as it was. Throws tb::Error 53 when the file does not exist (it is
// never created here), 70 when it may not be written.
void rewriteUtf16File(const std::filesystem::path& path, const std::vector<std::u16string>& lines);

}  // namespace scripting
