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

void throwHeaderCutOff(const StreamContext& ctx, std::size_t offset, std::size_t left)
{
    throwDamagedAt(ctx, offset,
                   "expected a record header of 4 bytes, found " + std::to_string(left) + " (the stream is cut off)");
}

void throwBodyCutOff(const StreamContext& ctx, const Record& r, std::size_t size, std::size_t left)
{
    throwDamaged(ctx, r,
                 "expected " + std::to_string(size) + " bytes of record data, found " + std::to_string(left) +
                     " (the stream is cut off)");
}

void RecordReader::cutOff() const
{
    if (pos_ > data_.size() || data_.size() - pos_ < 4)
        throwHeaderCutOff(ctx_, position(), data_.size() - std::min(pos_, data_.size()));
    Record r;
    r.type = u16(data_, pos_);
    r.offset = position();
    throwBodyCutOff(ctx_, r, u16(data_, pos_ + 2), data_.size() - pos_ - 4);
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
