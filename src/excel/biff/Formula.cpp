#include "Formula.h"

#include <algorithm>
#include <utility>

namespace excel::biff {

namespace {

std::uint16_t rd16(Bytes b, std::size_t at)
{
    return static_cast<std::uint16_t>(std::to_integer<unsigned>(b[at]) | (std::to_integer<unsigned>(b[at + 1]) << 8));
}

// Size of the data after the token byte of a classified token (ptg 0x20-0x7F),
// by its base number; 0 for an unknown one.
std::size_t classifiedSize(unsigned base)
{
    switch (base) {
    case 0x00: return 7;   // PtgArray
    case 0x01: return 2;   // PtgFunc
    case 0x02: return 3;   // PtgFuncVar
    case 0x03: return 4;   // PtgName
    case 0x04: return 4;   // PtgRef
    case 0x05: return 8;   // PtgArea
    case 0x06: return 6;   // PtgMemArea
    case 0x07: return 6;   // PtgMemErr
    case 0x08: return 6;   // PtgMemNoMem
    case 0x09: return 2;   // PtgMemFunc
    case 0x0A: return 4;   // PtgRefErr
    case 0x0B: return 8;   // PtgAreaErr
    case 0x0C: return 4;   // PtgRefN
    case 0x0D: return 8;   // PtgAreaN
    case 0x19: return 6;   // PtgNameX
    case 0x1A: return 6;   // PtgRef3d
    case 0x1B: return 10;  // PtgArea3d
    case 0x1C: return 6;   // PtgRefErr3d
    case 0x1D: return 10;  // PtgAreaErr3d
    default: return 0;
    }
}

// Calls `classified(base, at)` for every PtgName, PtgNameX, PtgRef3d and
// PtgArea3d, whose data is there.
template <class OnToken>
bool forEachToken(Bytes rgce, OnToken&& classified)
{
    std::size_t at = 0;
    while (at < rgce.size()) {
        const unsigned ptg = std::to_integer<unsigned>(rgce[at]);
        std::size_t size = 0;
        if (ptg >= 0x20 && ptg < 0x80) {
            const unsigned base = ptg & 0x1F;
            size = classifiedSize(base);
            if (size == 0 || at + 1 + size > rgce.size())
                return false;
            if (base == 0x03 || base == 0x19 || base == 0x1A || base == 0x1B)
                classified(base, at);
        } else {
            switch (ptg) {
            case 0x01: case 0x02: size = 4; break;  // PtgExp, PtgTbl
            case 0x17: {                            // PtgStr: ShortXLUnicodeString
                if (at + 3 > rgce.size())
                    return false;
                const std::size_t cch = std::to_integer<unsigned>(rgce[at + 1]);
                const bool wide = std::to_integer<unsigned>(rgce[at + 2]) & 0x01;
                size = 2 + cch * (wide ? 2 : 1);
                break;
            }
            case 0x18: {  // extended tokens
                if (at + 2 > rgce.size())
                    return false;
                const unsigned eptg = std::to_integer<unsigned>(rgce[at + 1]);
                if (eptg == 0x19)
                    size = 1 + 12;  // PtgList
                else if (eptg == 0x1D || (eptg >= 0x01 && eptg <= 0x10))
                    size = 1 + 4;   // PtgSxName; the PtgElf* tokens of natural-language formulas
                else
                    return false;
                break;
            }
            case 0x19: {  // PtgAttr
                if (at + 4 > rgce.size())
                    return false;
                const unsigned grbit = std::to_integer<unsigned>(rgce[at + 1]);
                size = 3;
                if (grbit & 0x04)  // tAttrChoose: a jump table of wCount + 1 entries
                    size += 2u * (rd16(rgce, at + 2) + 1u);
                break;
            }
            case 0x1C: case 0x1D: size = 1; break;  // PtgErr, PtgBool
            case 0x1E: size = 2; break;             // PtgInt
            case 0x1F: size = 8; break;             // PtgNum
            default:
                if (ptg >= 0x03 && ptg <= 0x16)
                    size = 0;  // operators, PtgParen, PtgMissArg
                else
                    return false;
            }
        }
        if (at + 1 + size > rgce.size())
            return false;
        at += 1 + size;
    }
    return true;
}

Ref3d ref3dAt(Bytes rgce, unsigned base, std::size_t at)
{
    Ref3d r{};
    r.ixti = rd16(rgce, at + 1);
    if (base == 0x1A) {
        r.rowFirst = r.rowLast = rd16(rgce, at + 3);
        r.colFirst = r.colLast = rd16(rgce, at + 5) & 0x3FFF;
        r.flagsFirst = r.flagsLast = rd16(rgce, at + 5) & 0xC000;
    } else {
        r.rowFirst = rd16(rgce, at + 3);
        r.rowLast = rd16(rgce, at + 5);
        r.colFirst = rd16(rgce, at + 7) & 0x3FFF;
        r.colLast = rd16(rgce, at + 9) & 0x3FFF;
        r.flagsFirst = rd16(rgce, at + 7) & 0xC000;
        r.flagsLast = rd16(rgce, at + 9) & 0xC000;
    }
    return r;
}

}  // namespace

RefArea sharedRefArea(const Ref3d& ref, const RefArea& cells)
{
    // Each end of the reference, over every cell of the formula; the area is what they span.
    auto span = [](std::uint16_t v, bool relative, int offset, int from, int to, int max) {
        const int lo = relative ? from + offset : v, hi = relative ? to + offset : v;
        return std::pair<int, int>{std::clamp(lo, 0, max), std::clamp(hi, 0, max)};
    };
    auto rows = [&](std::uint16_t row, std::uint16_t flags) {
        return span(row, flags & 0x8000, static_cast<std::int16_t>(row), cells.rowFirst, cells.rowLast, 0xFFFF);
    };
    auto cols = [&](std::uint16_t col, std::uint16_t flags) {
        return span(col, flags & 0x4000, static_cast<std::int8_t>(col & 0xFF), cells.colFirst, cells.colLast, 0xFF);
    };
    const auto r1 = rows(ref.rowFirst, ref.flagsFirst), r2 = rows(ref.rowLast, ref.flagsLast);
    const auto c1 = cols(ref.colFirst, ref.flagsFirst), c2 = cols(ref.colLast, ref.flagsLast);
    return {static_cast<std::uint16_t>(std::min(r1.first, r2.first)), static_cast<std::uint16_t>(std::max(r1.second, r2.second)),
            static_cast<std::uint16_t>(std::min(c1.first, c2.first)), static_cast<std::uint16_t>(std::max(c1.second, c2.second))};
}

bool walkFormula(std::span<std::byte> rgce, const FormulaVisitor& visit)
{
    return forEachToken(rgce, [&](unsigned base, std::size_t at) {
        if (base == 0x03 && visit.name)
            visit.name(rgce.subspan(at + 1, 2));
        else if (base == 0x19 && visit.nameX)
            visit.nameX(rd16(rgce, at + 1), rgce.subspan(at + 3, 2));
        else if ((base == 0x1A || base == 0x1B) && visit.ref)
            visit.ref(ref3dAt(rgce, base, at));
    });
}

bool readFormula(Bytes rgce, const FormulaReader& visit)
{
    return forEachToken(rgce, [&](unsigned base, std::size_t at) {
        if (base == 0x03 && visit.name)
            visit.name(rd16(rgce, at + 1));
        else if (base == 0x19 && visit.nameX)
            visit.nameX(rd16(rgce, at + 1), rd16(rgce, at + 3));
        else if ((base == 0x1A || base == 0x1B) && visit.ref)
            visit.ref(ref3dAt(rgce, base, at));
    });
}

}  // namespace excel::biff
