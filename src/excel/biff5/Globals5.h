#pragma once
// The globals of an Excel 5.0/95 workbook stream (BIFF5, and BIFF7, which
// is the same format): the code page and the sheet list. Listing reads only
// these; a copy walks the records again itself.

#include "CodePage.h"
#include "excel/biff/Records.h"

#include <cstdint>
#include <string>
#include <vector>

namespace excel::biff5 {

namespace rt5 {
inline constexpr std::uint16_t ExternCount = 0x0016;
inline constexpr std::uint16_t CodePageRecord = 0x0042;
inline constexpr std::uint16_t DefColWidth = 0x0055;
inline constexpr std::uint16_t Dimensions = 0x0200;
}  // namespace rt5

struct Sheet5 {
    std::string rawName;         // in the workbook's code page
    std::uint32_t position = 0;  // of the sheet's BOF in the stream
    std::uint8_t state = 0;      // 0 visible, 1 hidden, 2 very hidden
    std::uint8_t type = 0;       // 0 worksheet or dialog, 1 macro, 2 chart, 6 VB module
};

struct Globals5 {
    std::size_t end = 0;  // after the globals' EOF
    CodePage codePage;
    std::vector<Sheet5> sheets;
};

// True when `stream` starts with a BIFF5/BIFF7 workbook globals BOF.
bool isBiff5Stream(biff::Bytes stream);

// Reads the globals; damage and encryption are refused naming the file.
Globals5 readGlobals5(biff::Bytes stream, const biff::StreamContext& ctx);

// Dialog sheets share the worksheet type in BOUNDSHEET; their WSBOOL record,
// among the first of the sheet, tells them apart.
bool isDialogSheet5(biff::Bytes stream, std::size_t position);

}  // namespace excel::biff5
