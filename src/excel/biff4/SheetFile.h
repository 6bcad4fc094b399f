#pragma once
// Excel 2.x-4.0 worksheet files: a bare BIFF2, BIFF3 or BIFF4 stream, no
// compound file, one sheet a file. The sheet's name is the file's name
// without its extension, as Excel shows it, and its one-sheet copy is the
// file itself, byte for byte. An Excel 4.0 workbook (BIFF4W, several sheets
// bound in one file) is refused.

#include "excel/Document.h"

#include <cstddef>
#include <span>

namespace excel::biff4 {

// True when `bytes` open with the BOF record of BIFF2, BIFF3 or BIFF4.
bool isSheetFile(std::span<const std::byte> bytes);

// Throws tb::Error 1004 naming `file` for a workbook, a chart or a macro sheet.
std::unique_ptr<Document> openSheetFile(std::shared_ptr<const tb::ByteSource> bytes, const std::string& file);

}  // namespace excel::biff4
