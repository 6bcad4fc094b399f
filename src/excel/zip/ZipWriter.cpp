#include "ZipWriter.h"

#include "excel/EngineError.h"

#include <libdeflate.h>

#include <array>
#include <cstring>
#include <memory>

namespace excel::zip {

namespace {

constexpr std::uint32_t kLocalSig = 0x04034b50;
constexpr std::uint32_t kCentralSig = 0x02014b50;
constexpr std::uint32_t kEndSig = 0x06054b50;
constexpr std::uint16_t kDosDate1980 = (0 << 9) | (1 << 5) | 1;  // 1980-01-01
constexpr std::uint16_t kFlagUtf8 = 1 << 11;
constexpr std::uint64_t kLimit32 = 0xFFFFFFFFull;

// Parts are compressed whole, as they are held, by libdeflate at its
// fastest level: compressing the rewritten parts is most of a copy's own
// work, and its default level takes nearly twice as long to make the file
// 1 to 2% smaller.
constexpr int kLevel = 1;

// Parts shorter than this are stored as they are. libdeflate spends about
// 5 us setting up for each part, however short, to save at most 1.4 KB on
// one of this size: on workbooks of small sheets, whose rewritten parts
// (workbook, relationships, content types, document properties) are mostly
// under 1 KB, that was a tenth of a copy's time.
constexpr std::size_t kStoredBelow = 2048;

class Le {
public:
    void u16(std::uint16_t v) { b_.push_back(static_cast<std::byte>(v)); b_.push_back(static_cast<std::byte>(v >> 8)); }
    void u32(std::uint32_t v) { u16(static_cast<std::uint16_t>(v)); u16(static_cast<std::uint16_t>(v >> 16)); }
    void str(const std::string& s)
    {
        const auto* p = reinterpret_cast<const std::byte*>(s.data());
        b_.insert(b_.end(), p, p + s.size());
    }
    const std::vector<std::byte>& bytes() const { return b_; }

private:
    std::vector<std::byte> b_;
};

// One compressor per thread, kept for the thread's life: allocating one for
// each file saved cost more than compressing the parts of a small one.
libdeflate_compressor* threadCompressor()
{
    struct Free {
        void operator()(libdeflate_compressor* c) const { libdeflate_free_compressor(c); }
    };
    thread_local std::unique_ptr<libdeflate_compressor, Free> compressor;
    if (!compressor)
        compressor.reset(libdeflate_alloc_compressor(kLevel));
    return compressor.get();
}

bool isAscii(const std::string& s)
{
    for (unsigned char c : s) {
        if (c >= 0x80)
            return false;
    }
    return true;
}

}  // namespace

constexpr std::size_t kBufferSize = 1u << 20;

ZipWriter::ZipWriter(tb::ByteSink& sink, std::string file) : sink_(sink), file_(std::move(file))
{
    buffer_.reserve(kBufferSize);
}

libdeflate_compressor* ZipWriter::compressor()
{
    libdeflate_compressor* c = threadCompressor();
    if (c == nullptr)
        throw engineError(file_, "cannot compress: not enough memory for the compressor");
    return c;
}

void ZipWriter::flush()
{
    if (!buffer_.empty()) {
        sink_.write(buffer_);
        buffer_.clear();
    }
}

void ZipWriter::put(const void* data, std::size_t n)
{
    const auto* p = static_cast<const std::byte*>(data);
    if (buffer_.size() + n > kBufferSize) {
        flush();
        if (n >= kBufferSize) {
            sink_.write(std::span<const std::byte>(p, n));
            offset_ += n;
            return;
        }
    }
    buffer_.insert(buffer_.end(), p, p + n);
    offset_ += n;
}

void ZipWriter::add(const std::string& name, std::string_view data)
{
    if (data.size() >= kLimit32)
        throw engineError(file_, "the part '" + name + "' is too large to be written (4 GiB or more)");
    const std::uint32_t crc = libdeflate_crc32(0, data.data(), data.size());
    if (data.size() < kStoredBelow) {
        addStored(name, 0, crc, data.size(), data.data(), data.size());
        return;
    }
    libdeflate_compressor* c = compressor();
    const std::size_t bound = libdeflate_deflate_compress_bound(c, data.size());
    if (compressed_.size() < bound)
        compressed_.resize(bound);
    const std::size_t produced = libdeflate_deflate_compress(c, data.data(), data.size(), compressed_.data(), bound);
    if (produced == 0)
        throw engineError(file_, "cannot compress the part '" + name + "'");
    addStored(name, 8, crc, data.size(), compressed_.data(), produced);
}

void ZipWriter::addRaw(const std::string& name, const RawEntry& raw)
{
    addStored(name, raw.method, raw.crc, raw.size, raw.data.data(), raw.data.size());
}

void ZipWriter::addStored(const std::string& name, std::uint16_t method, std::uint32_t crc, std::uint64_t size,
                          const void* data, std::uint64_t compressedSize)
{
    if (finished_)
        throw engineError(file_, "internal error: zip entry '" + name + "' added after the directory");
    if (size > kLimit32 || compressedSize > kLimit32 || offset_ > kLimit32 || central_.size() >= 0xFFFF ||
        name.size() > 0xFFFF)
        throw engineError(file_, "the workbook is too large to be written (more than 4 GiB or 65535 parts)");
    Le h;
    h.u32(kLocalSig);
    h.u16(20);
    h.u16(isAscii(name) ? 0 : kFlagUtf8);
    h.u16(method);
    h.u16(0);
    h.u16(kDosDate1980);
    h.u32(crc);
    h.u32(static_cast<std::uint32_t>(compressedSize));
    h.u32(static_cast<std::uint32_t>(size));
    h.u16(static_cast<std::uint16_t>(name.size()));
    h.u16(0);
    h.str(name);
    central_.push_back({name, method, crc, compressedSize, size, offset_});
    put(h.bytes().data(), h.bytes().size());
    put(data, static_cast<std::size_t>(compressedSize));
}

void ZipWriter::finish()
{
    if (finished_)
        return;
    const std::uint64_t start = offset_;
    for (const auto& c : central_) {
        Le h;
        h.u32(kCentralSig);
        h.u16(20);  // made by: MS-DOS, 2.0
        h.u16(20);
        h.u16(isAscii(c.name) ? 0 : kFlagUtf8);
        h.u16(c.method);
        h.u16(0);
        h.u16(kDosDate1980);
        h.u32(c.crc);
        h.u32(static_cast<std::uint32_t>(c.compressedSize));
        h.u32(static_cast<std::uint32_t>(c.size));
        h.u16(static_cast<std::uint16_t>(c.name.size()));
        h.u16(0);
        h.u16(0);
        h.u16(0);
        h.u16(0);
        h.u32(0);
        h.u32(static_cast<std::uint32_t>(c.offset));
        h.str(c.name);
        put(h.bytes().data(), h.bytes().size());
    }
    const std::uint64_t size = offset_ - start;
    if (start > kLimit32 || size > kLimit32)
        throw engineError(file_, "the workbook is too large to be written (more than 4 GiB)");
    Le e;
    e.u32(kEndSig);
    e.u16(0);
    e.u16(0);
    e.u16(static_cast<std::uint16_t>(central_.size()));
    e.u16(static_cast<std::uint16_t>(central_.size()));
    e.u32(static_cast<std::uint32_t>(size));
    e.u32(static_cast<std::uint32_t>(start));
    e.u16(0);
    put(e.bytes().data(), e.bytes().size());
    flush();
    finished_ = true;
}

}  // namespace excel::zip
