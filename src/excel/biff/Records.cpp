#include "Records.h"

#include "RecordTypes.h"
#include "excel/EngineError.h"

#include <cstdio>

namespace excel::biff {

std::string hex4(std::uint16_t v)
{
    char buf[8];
    std::snprintf(buf, sizeof buf, "0x%04X", v);
    return buf;
}

void throwDamaged(const StreamContext& ctx, const Record& r, const std::string& detail)
{
    throw damaged(ctx.file, ctx.stream + " stream, record " + hex4(r.type) + " at offset " + std::to_string(r.offset),
                  detail);
}

void throwDamagedAt(const StreamContext& ctx, std::size_t offset, const std::string& detail)
{
    throw damaged(ctx.file, ctx.stream + " stream at offset " + std::to_string(offset), detail);
}

void RecordReader::cutOff() const
{
    if (pos_ > data_.size() || data_.size() - pos_ < 4)
        throwDamagedAt(ctx_, position(),
                       "expected a record header of 4 bytes, found " + std::to_string(data_.size() - std::min(pos_, data_.size())) +
                           " (the stream is cut off)");
    Record r;
    r.type = u16(data_, pos_);
    r.offset = position();
    throwDamaged(ctx_, r,
                 "expected " + std::to_string(u16(data_, pos_ + 2)) + " bytes of record data, found " +
                     std::to_string(data_.size() - pos_ - 4) + " (the stream is cut off)");
}

std::uint16_t RecordReader::peekType() const
{
    return data_.size() >= pos_ + 4 ? u16(data_, pos_) : 0;
}

std::vector<std::byte> ContinuedRecord::joined() const
{
    std::vector<std::byte> out;
    for (Bytes p : pieces)
        append(out, p);
    return out;
}

}  // namespace excel::biff
