#include "Globals5.h"

#include "excel/EngineError.h"
#include "excel/biff/RecordTypes.h"

namespace excel::biff5 {

using namespace excel::biff;

namespace {
constexpr std::uint16_t kBiff5 = 0x0500;
constexpr std::uint16_t kDtGlobals = 0x0005;
constexpr std::uint16_t kDialogBit = 0x0010;
constexpr int kHeaderScan = 64;
}  // namespace

bool isBiff5Stream(Bytes stream)
{
    return stream.size() >= 8 && u16(stream, 0) == rt::Bof && u16(stream, 2) >= 4 && u16(stream, 4) == kBiff5 &&
           u16(stream, 6) == kDtGlobals;
}

Globals5 readGlobals5(Bytes stream, const StreamContext& ctx)
{
    if (!isBiff5Stream(stream))
        throwDamagedAt(ctx, 0, "expected the BOF record of Excel 5.0/95 workbook globals");
    RecordReader reader(stream, 0, ctx);
    reader.next();
    Globals5 g;
    for (;;) {
        if (reader.atEnd())
            throwDamagedAt(ctx, reader.position(), "the workbook globals end without an EOF record");
        const Record r = reader.next();
        if (r.type == rt::Eof)
            break;
        if (r.type == rt::FilePass)
            throw refused(ctx.file, "is encrypted (password to open); encrypted Excel 5.0/95 workbooks cannot be "
                                    "read. Save it without a password and try again.");
        if (r.type == rt5::CodePageRecord && r.body.size() >= 2)
            g.codePage = CodePage(u16(r.body, 0));
        if (r.type != rt::BoundSheet8)
            continue;
        if (r.body.size() < 7 || r.body.size() < 7u + u8(r.body, 6))
            throwDamaged(ctx, r, "the sheet entry is shorter than its name");
        Sheet5 s;
        s.position = u32(r.body, 0);
        s.state = u8(r.body, 4) & 0x03;
        s.type = u8(r.body, 5);
        s.rawName.assign(reinterpret_cast<const char*>(r.body.data()) + 7, u8(r.body, 6));
        g.sheets.push_back(std::move(s));
    }
    g.end = reader.position();
    return g;
}

bool isDialogSheet5(Bytes stream, std::size_t pos)
{
    for (int i = 0; i < kHeaderScan && pos + 4 <= stream.size(); ++i) {
        const std::uint16_t type = u16(stream, pos), len = u16(stream, pos + 2);
        if (type == rt::WsBool && len >= 2 && pos + 6 <= stream.size())
            return u16(stream, pos + 4) & kDialogBit;
        if (i > 0 && (type == rt::Bof || type == rt::Eof))
            break;
        pos += 4 + len;
    }
    return false;
}

}  // namespace excel::biff5
