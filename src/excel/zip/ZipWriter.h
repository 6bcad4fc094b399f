#pragma once
// Writes a zip archive straight into a ByteSink, one entry after another, and
// the central directory at the end. libzip can only produce an archive into a
// file or a memory source of its own; writing through the sink keeps the
// atomic-file rules in one place and lets unchanged parts be copied as stored
// (no inflate, no deflate), which is most of what a one-sheet copy holds.
//
// Entries are stamped 1980-01-01 00:00, as Excel stamps its own, so the same
// input gives the same bytes. Archives past the classic 4 GiB / 65535-entry
// limits are refused rather than written with Zip64 records.

#include "ZipReader.h"
#include "platform/sys/ByteSink.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct libdeflate_compressor;

namespace excel::zip {

class ZipWriter {
public:
    // `file` names the archive in errors.
    ZipWriter(tb::ByteSink& sink, std::string file);
    ZipWriter(const ZipWriter&) = delete;
    ZipWriter& operator=(const ZipWriter&) = delete;

    // Adds `data` as `name`: deflated, or stored when it is short.
    void add(const std::string& name, std::string_view data);
    // Adds an entry exactly as another archive stored it.
    void addRaw(const std::string& name, const RawEntry& raw);
    // Writes the central directory; no entry may follow.
    void finish();

private:
    struct Central {
        std::string name;
        std::uint16_t method;
        std::uint32_t crc;
        std::uint64_t compressedSize;
        std::uint64_t size;
        std::uint64_t offset;
    };
    void addStored(const std::string& name, std::uint16_t method, std::uint32_t crc, std::uint64_t size,
                   const void* data, std::uint64_t compressedSize);
    void put(const void* data, std::size_t n);
    void flush();
    libdeflate_compressor* compressor();

    tb::ByteSink& sink_;
    std::string file_;
    std::uint64_t offset_ = 0;
    std::vector<Central> central_;
    bool finished_ = false;
    // Small writes are gathered so that a file gets few large writes; the
    // compressor's output buffer is kept from part to part.
    std::vector<std::byte> buffer_;
    std::vector<unsigned char> compressed_;
};

}  // namespace excel::zip
