#include "Formula5.h"

namespace excel::biff5 {

using biff::u16;

std::int16_t SheetRef::externSheet() const { return static_cast<std::int16_t>(u16(ixals, 0)); }
std::uint16_t SheetRef::firstTab() const { return u16(tabs, 0); }
std::uint16_t SheetRef::lastTab() const { return u16(tabs, 2); }

namespace {

// Bytes after the token byte of each base token (0x00-0x3F, class bits
// folded into it), BIFF5 sizes; -1 where the size needs the token's data.
int fixedSize(std::uint8_t ptg)
{
    if (ptg >= 0x03 && ptg <= 0x16)
        return 0;  // operators, parentheses, missing argument
    switch (ptg) {
    case 0x01:  // PtgExp
    case 0x02:  // PtgTbl
        return 4;
    case 0x1C:  // PtgErr
    case 0x1D:  // PtgBool
        return 1;
    case 0x1E: return 2;   // PtgInt
    case 0x1F: return 8;   // PtgNum
    case 0x20: return 7;   // PtgArray (its values follow the formula)
    case 0x21: return 2;   // PtgFunc
    case 0x22: return 3;   // PtgFuncVar
    case 0x23: return 14;  // PtgName
    case 0x24:             // PtgRef
    case 0x2A:             // PtgRefErr
    case 0x2C:             // PtgRefN
        return 3;
    case 0x25:  // PtgArea
    case 0x2B:  // PtgAreaErr
    case 0x2D:  // PtgAreaN
        return 6;
    case 0x26:  // PtgMemArea, PtgMemErr, PtgMemNoMem: the subexpression follows as tokens
    case 0x27:
    case 0x28:
        return 6;
    case 0x29:  // PtgMemFunc, PtgMemAreaN, PtgMemNoMemN
    case 0x2E:
    case 0x2F:
        return 2;
    case 0x38: return 2;   // command-equivalent function
    case 0x39: return 24;  // PtgNameX
    case 0x3A:             // PtgRef3d
    case 0x3C:             // PtgRefErr3d
        return 17;
    case 0x3B:  // PtgArea3d
    case 0x3D:  // PtgAreaErr3d
        return 20;
    default: return -1;
    }
}

}  // namespace

bool walkTokens(std::span<std::byte> rgce, const TokenVisitor& visit)
{
    std::size_t at = 0;
    while (at < rgce.size()) {
        const std::uint8_t token = biff::u8(rgce, at);
        if (token >= 0x80)
            return false;
        const std::uint8_t ptg = token >= 0x40 ? static_cast<std::uint8_t>((token & 0x1F) | 0x20) : token;
        std::size_t size = 0;
        if (ptg == 0x17) {  // PtgStr: an 8-bit count, then the bytes
            if (at + 2 > rgce.size())
                return false;
            size = 1 + biff::u8(rgce, at + 1);
        } else if (ptg == 0x19) {  // PtgAttr: a choose carries its jump table
            if (at + 4 > rgce.size())
                return false;
            size = 3;
            if (biff::u8(rgce, at + 1) & 0x04)
                size += 2 * (std::size_t{u16(rgce, at + 2)} + 1);
        } else {
            const int fixed = fixedSize(ptg);
            if (fixed < 0)
                return false;
            size = static_cast<std::size_t>(fixed);
        }
        if (rgce.size() - at - 1 < size)
            return false;
        const auto data = rgce.subspan(at + 1, size);
        switch (ptg) {
        case 0x23:
            if (visit.name)
                visit.name(data.subspan(0, 2));
            break;
        case 0x39:
            if (visit.nameX)
                visit.nameX(data.subspan(0, 2), data.subspan(10, 2));
            break;
        case 0x3A:
        case 0x3B:
        case 0x3C:
        case 0x3D:
            if (visit.sheetRef)
                visit.sheetRef({data.subspan(0, 2), data.subspan(10, 4)});
            break;
        default: break;
        }
        at += 1 + size;
    }
    return true;
}

}  // namespace excel::biff5
