#pragma once
// The record layer of a BIFF8 stream [MS-XLS 2.1.4]: a record is a 16-bit
// type, a 16-bit size and that many bytes. Records are read in place over the
// stream's bytes; a record that runs past the end is reported as damage with
// its type and offset.

#include "Bytes.h"
#include "RecordTypes.h"
#include "excel/EngineError.h"
#include "platform/sys/Error.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace excel::biff {

struct Record {
    std::uint16_t type = 0;
    std::size_t offset = 0;  // of the record header in the stream
    Bytes body;
    std::size_t end() const { return offset + 4 + body.size(); }
};

// Where damage was found, for error texts: the file and the stream.
struct StreamContext {
    std::string file;
    std::string stream;
};

// Walks records from `pos`. `data` holds the stream's bytes from offset
// `base` on (a part of the stream read on its own); positions and record
// offsets are the stream's either way, so that errors name the place in the file.
class RecordReader {
public:
    RecordReader(Bytes data, std::size_t pos, const StreamContext& ctx, std::size_t base = 0)
        : data_(data), base_(base), pos_(pos >= base ? pos - base : data.size() + 1), ctx_(ctx)
    {
    }
    bool atEnd() const { return pos_ >= data_.size(); }
    std::size_t position() const { return base_ + pos_; }
    // The next record; throws tb::Error when its header or body is cut off.
    Record next()
    {
        if (pos_ > data_.size() || data_.size() - pos_ < 4 || data_.size() - pos_ - 4 < u16(data_, pos_ + 2))
            cutOff();
        Record r;
        r.type = u16(data_, pos_);
        r.offset = base_ + pos_;
        r.body = data_.subspan(pos_ + 4, u16(data_, pos_ + 2));
        pos_ += 4 + r.body.size();
        return r;
    }
    // The type of the next record without reading it, or 0 at the end.
    std::uint16_t peekType() const;

private:
    [[noreturn]] void cutOff() const;  // says which part of the record is missing
    Bytes data_;
    std::size_t base_;
    std::size_t pos_;  // into data_
    const StreamContext& ctx_;
};

// A record's body followed by those of the CONTINUE records after it: the
// pieces of one logical record whose contents span several records.
struct ContinuedRecord {
    Record first;
    std::vector<Bytes> pieces;  // first.body, then each CONTINUE body
    std::size_t end = 0;        // after the last piece
    std::vector<std::byte> joined() const;
};

// Reads the next record with its CONTINUE records, from a RecordReader or
// anything else that reads records as it does.
template <class Reader>
ContinuedRecord readContinued(Reader& reader)
{
    ContinuedRecord c;
    c.first = reader.next();
    c.pieces.push_back(c.first.body);
    while (reader.peekType() == rt::Continue)
        c.pieces.push_back(reader.next().body);
    c.end = reader.position();
    return c;
}

// "'<file>' is damaged: <stream>, record 0x0085 at offset 1234: <detail>"
[[noreturn]] void throwDamaged(const StreamContext& ctx, const Record& r, const std::string& detail);
[[noreturn]] void throwDamagedAt(const StreamContext& ctx, std::size_t offset, const std::string& detail);
// A record cut off by the end of the stream, as every record reader says it:
// `left` bytes remain at `offset`, where a header of 4 needs to be; or the
// record `r` (type and offset set) needs `size` bytes and `left` remain.
[[noreturn]] void throwHeaderCutOff(const StreamContext& ctx, std::size_t offset, std::size_t left);
[[noreturn]] void throwBodyCutOff(const StreamContext& ctx, const Record& r, std::size_t size, std::size_t left);
std::string hex4(std::uint16_t v);

}  // namespace excel::biff
