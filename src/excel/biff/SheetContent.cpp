#include "SheetContent.h"

#include "RecordTypes.h"

namespace excel::biff {

bool sheetHasContent(Substreams& sheets, std::size_t start, const StreamContext& ctx)
{
    SubstreamRecords records(sheets, start, ctx);
    records.next();  // the sheet's own BOF
    while (!records.atEnd()) {
        const Record r = records.next();
        switch (r.type) {
        case rt::Number:
        case rt::Rk:
        case rt::MulRk:
        case rt::LabelSst:
        case rt::Label:
        case rt::RString:
        case rt::BoolErr:
        case rt::Formula:
        case rt::Obj:  // every picture, chart, shape and comment has one
        case rt::Note:
            return true;
        case rt::MergedCells:
            if (r.body.size() >= 2 && u16(r.body, 0) != 0)
                return true;
            break;
        case rt::Eof:
            return false;
        default:
            break;
        }
    }
    return false;
}

}  // namespace excel::biff
