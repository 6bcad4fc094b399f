#include "Globals.h"

#include "RecordTypes.h"
#include "Strings.h"
#include "excel/EngineError.h"

namespace excel::biff {

namespace {

constexpr std::uint16_t kBiff8 = 0x0600;
constexpr std::uint16_t kBiff5 = 0x0500;
constexpr std::uint16_t kDtGlobals = 0x0005;

}  // namespace

void checkGlobalsBof(const Record& r, const StreamContext& ctx)
{
    const std::string older = " workbook; only Excel 97-2003 workbooks (BIFF8) and Office Open XML workbooks can be read.";
    switch (r.type) {
    case rt::Bof2: throw refused(ctx.file, "is an Excel 2.x (BIFF2)" + older);
    case rt::Bof3: throw refused(ctx.file, "is an Excel 3.0 (BIFF3)" + older);
    case rt::Bof4: throw refused(ctx.file, "is an Excel 4.0 (BIFF4)" + older);
    case rt::Bof: break;
    default: throwDamaged(ctx, r, "expected a BOF record (0x0809) at the start of the stream, found " + hex4(r.type));
    }
    if (r.body.size() < 4)
        throwDamaged(ctx, r, "the BOF record holds " + std::to_string(r.body.size()) + " bytes, expected at least 4");
    const std::uint16_t vers = u16(r.body, 0);
    if (vers == kBiff5 || ctx.stream == "Book")
        throw refused(ctx.file, "is an Excel 5.0/95 (BIFF5/BIFF7)" + older);
    if (vers != kBiff8)
        throwDamaged(ctx, r, "expected BIFF version 0x0600 in the BOF record, found " + hex4(vers));
    if (u16(r.body, 2) != kDtGlobals)
        throwDamaged(ctx, r, "expected the workbook globals (BOF type 0x0005), found type " + hex4(u16(r.body, 2)));
}

bool takeGlobalsRecord(Globals& g, const Record& r, const StreamContext& ctx)
{
    if (r.type == rt::FilePass)
        throw refused(ctx.file, "is encrypted (password to open); encrypted workbooks cannot be read. "
                                "Save it without a password and try again.");
    if (r.type == rt::Eof)
        return false;
    if (r.type != rt::BoundSheet8)
        return true;
    if (r.body.size() < 8)
        throwDamaged(ctx, r, "a sheet entry needs at least 8 bytes, found " + std::to_string(r.body.size()));
    SheetEntry s;
    s.position = u32(r.body, 0);
    s.state = u8(r.body, 4) & 0x03;
    s.type = u8(r.body, 5);
    std::size_t at = 7;
    if (!readStringNoCch(r.body, at, u8(r.body, 6), s.name))
        throwDamaged(ctx, r, "the sheet name runs past the end of the record");
    g.sheets.push_back(std::move(s));
    return true;
}

}  // namespace excel::biff
