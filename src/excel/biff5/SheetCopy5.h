#pragma once
// A one-sheet copy of an Excel 5.0/95 workbook stream, kept in its own
// format: the globals keep their records (fonts, formats, XF, styles,
// palette, code page) with the sheet list and the names cut down to the one
// sheet; the sheet's records are copied as they are, with references to
// other sheets turned into references to the source file and the stream
// offsets moved.

#include "Globals5.h"
#include "excel/Document.h"
#include "excel/biff/Records.h"

#include <vector>

namespace excel::biff5 {

// The new Book stream. `sheet` indexes globals.sheets.
std::vector<std::byte> copySheet5(biff::Bytes stream, const Globals5& globals, std::size_t sheet,
                                  const CopySource& source, const biff::StreamContext& ctx);

}  // namespace excel::biff5
