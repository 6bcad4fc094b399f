#pragma once
// Records read one at a time through a compound-file stream, for a part of
// the stream that is not worth gathering whole: the globals, whose shared
// strings run to megabytes. Each body is a view that lasts as long as the
// file: in place where its sectors are contiguous, which is most of them,
// else a copy in `copies`, which the records must not outlive.

#include "Records.h"
#include "excel/cfb/CompoundFile.h"

#include <deque>
#include <vector>

namespace excel::biff {

class StreamRecords {
public:
    // Reads [0, end) of `stream`.
    StreamRecords(cfb::Stream& stream, std::size_t end, std::deque<std::vector<std::byte>>& copies,
                  const StreamContext& ctx)
        : stream_(stream), end_(end), copies_(copies), ctx_(ctx)
    {
    }
    bool atEnd() const { return pos_ >= end_; }
    std::size_t position() const { return pos_; }
    // The next record; throws tb::Error when its header or body is cut off.
    Record next();
    // The type of the next record without reading it, or 0 at the end.
    std::uint16_t peekType();

private:
    cfb::Stream& stream_;
    std::size_t end_;
    std::deque<std::vector<std::byte>>& copies_;
    const StreamContext& ctx_;
    std::size_t pos_ = 0;
};

}  // namespace excel::biff
