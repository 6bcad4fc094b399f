#include "StreamRecords.h"

namespace excel::biff {

Record StreamRecords::next()
{
    if (pos_ > end_ || end_ - pos_ < 4)
        throwHeaderCutOff(ctx_, pos_, end_ - std::min(pos_, end_));
    const Bytes header = stream_.view(pos_, 4);
    Record r;
    r.type = u16(header, 0);
    r.offset = pos_;
    const std::size_t size = u16(header, 2);
    if (end_ - pos_ - 4 < size)
        throwBodyCutOff(ctx_, r, size, end_ - pos_ - 4);
    if (size > 0)
        r.body = stream_.lasting(pos_ + 4, size, copies_);
    pos_ += 4 + size;
    return r;
}

std::uint16_t StreamRecords::peekType()
{
    return end_ - std::min(pos_, end_) >= 4 ? u16(stream_.view(pos_, 2), 0) : 0;
}

}  // namespace excel::biff
