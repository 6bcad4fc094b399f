#include "Substreams.h"

#include <algorithm>

namespace excel::biff {

void SubstreamRecords::keep(std::size_t n)
{
    const std::size_t in = pos_ - windowAt_;
    if (window_.size() >= in && window_.size() - in >= n)
        return;
    windowAt_ = pos_;
    const std::size_t left = end_ - std::min(pos_, end_);
    window_ = left == 0 ? Bytes() : sheets_.read(pos_, std::min(left, kSubstreamWindow));
}

Record SubstreamRecords::nextInNewWindow()
{
    // The record in front whole, as far as the substream holds it; what is
    // still cut off is cut off by the substream's end.
    keep(4);
    const std::size_t in = pos_ - windowAt_;
    if (window_.size() - in >= 4)
        keep(4 + std::size_t{u16(window_, in + 2)});
    RecordReader reader(window_, pos_, ctx_, windowAt_);
    const Record r = reader.next();
    pos_ = reader.position();
    return r;
}

std::uint16_t SubstreamRecords::peekType()
{
    keep(4);
    const std::size_t in = pos_ - windowAt_;
    return window_.size() - in >= 4 ? u16(window_, in) : 0;
}

}  // namespace excel::biff
