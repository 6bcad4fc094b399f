#pragma once
// How a copy reads the sheets of a Workbook stream: one substream at a time,
// so that a stream whose sectors are spread over the file is not gathered
// whole for every sheet. Most of a stream lies in long runs of contiguous
// sectors, and a sheet inside one run is read in place.

#include "Bytes.h"

#include <cstddef>

namespace excel::biff {

class Substreams {
public:
    virtual ~Substreams() = default;
    // Of the whole stream.
    virtual std::size_t size() const = 0;
    // The bytes from `position` up to where the next sheet's substream
    // starts, or to the end of the stream; empty when `position` is at or
    // past the end. Valid until the next call.
    virtual Bytes from(std::size_t position) = 0;
};

}  // namespace excel::biff
