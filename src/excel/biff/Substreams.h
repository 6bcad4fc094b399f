#pragma once
// How a copy reads the sheets of a Workbook stream: a window at a time, so
// that a stream whose sectors are spread over the file is never gathered
// whole, nor a sheet of it. Most of a stream lies in long runs of contiguous
// sectors and is read in place; a window that crosses from one run into the
// next is gathered, and a window is small beside a large sheet.

#include "Bytes.h"
#include "Records.h"

#include <cstddef>

namespace excel::biff {

class Substreams {
public:
    virtual ~Substreams() = default;
    // Of the whole stream.
    virtual std::size_t size() const = 0;
    // Where the substream that holds `position` ends: where the next
    // sheet's substream starts, or the end of the stream.
    virtual std::size_t endOf(std::size_t position) const = 0;
    // The `n` bytes at `position`, within the stream. Valid until the next
    // call.
    virtual Bytes read(std::size_t position, std::size_t n) = 0;
};

// The most a window holds: room for the largest record many times over.
inline constexpr std::size_t kSubstreamWindow = std::size_t{1} << 18;

// The records of one substream, from `start` to where the substream ends,
// read a window at a time. A record's body is valid until the next record
// is read, and until anything else reads through the same Substreams.
class SubstreamRecords {
public:
    SubstreamRecords(Substreams& sheets, std::size_t start, const StreamContext& ctx)
        : sheets_(sheets), ctx_(ctx), end_(sheets.endOf(start)), pos_(start), windowAt_(start)
    {
    }
    bool atEnd() const { return pos_ >= end_; }
    std::size_t position() const { return pos_; }
    // The next record; throws tb::Error when the substream's end cuts off
    // its header or body.
    Record next()
    {
        const std::size_t in = pos_ - windowAt_;
        if (window_.size() - in < 4 || window_.size() - in - 4 < u16(window_, in + 2))
            return nextInNewWindow();
        Record r;
        r.type = u16(window_, in);
        r.offset = pos_;
        r.body = window_.subspan(in + 4, u16(window_, in + 2));
        pos_ += 4 + r.body.size();
        return r;
    }
    // The type of the next record without reading it, or 0 at the end. The
    // body of the record before may not outlive this.
    std::uint16_t peekType();

private:
    // A window from pos_ unless the next `n` bytes lie in this one.
    void keep(std::size_t n);
    Record nextInNewWindow();

    Substreams& sheets_;
    const StreamContext& ctx_;
    std::size_t end_;
    std::size_t pos_;
    std::size_t windowAt_;  // the stream position window_ starts at
    Bytes window_;
};

}  // namespace excel::biff
