#include "SheetContent.h"

#include "RecordTypes.h"

namespace excel::biff {

namespace {

// Cell records of Excel 2.x to 4.0 that BIFF5 and BIFF8 numbered anew.
constexpr std::uint16_t kInteger2 = 0x0002, kNumber2 = 0x0003, kLabel2 = 0x0004, kBoolErr2 = 0x0005,
                        kFormula3 = 0x0206, kFormula4 = 0x0406;

template <class Reader>
bool scan(Reader& records)
{
    records.next();  // the sheet's own BOF
    while (!records.atEnd()) {
        const Record r = records.next();
        if (r.type == rt::Eof)
            return false;
        if (isContentRecord(r))
            return true;
    }
    return false;
}

}  // namespace

bool isContentRecord(const Record& r)
{
    switch (r.type) {
    case rt::Number:
    case rt::Rk:
    case rt::MulRk:
    case rt::LabelSst:
    case rt::Label:
    case rt::RString:
    case rt::BoolErr:
    case rt::Formula:
    case kInteger2:
    case kNumber2:
    case kLabel2:
    case kBoolErr2:
    case kFormula3:
    case kFormula4:
    case rt::Obj:  // every picture, chart, shape and comment has one
    case rt::Note:
        return true;
    case rt::MergedCells:
        return r.body.size() >= 2 && u16(r.body, 0) != 0;
    default:
        return false;
    }
}

bool sheetHasContent(Substreams& sheets, std::size_t start, const StreamContext& ctx)
{
    SubstreamRecords records(sheets, start, ctx);
    return scan(records);
}

bool sheetHasContent(Bytes stream, std::size_t start, const StreamContext& ctx)
{
    RecordReader records(stream, start, ctx);
    return scan(records);
}

}  // namespace excel::biff
