#pragma once
// Reads a zip archive held in memory (a mapped file or a buffer) through
// libzip. Opening reads only the central directory; an entry is inflated when
// asked for, so that listing a large package touches little of it. A deflated
// entry is inflated whole by libdeflate, since its size is known beforehand.

#include "platform/sys/ByteSink.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

struct zip;

namespace excel::zip {

struct Entry {
    std::string name;
    std::uint64_t index = 0;
    std::uint64_t size = 0;            // uncompressed
    std::uint64_t compressedSize = 0;
    std::uint32_t crc = 0;
    std::uint16_t method = 0;          // 0 stored, 8 deflated, others are inflated on read
    bool encrypted = false;
};

// An entry's bytes as stored, for copying into another archive unchanged.
struct RawEntry {
    std::uint16_t method = 0;
    std::uint32_t crc = 0;
    std::uint64_t size = 0;
    std::vector<std::byte> data;
};

class ZipReader {
public:
    // Throws tb::Error 1004 naming `file` when the bytes are not a complete
    // zip archive.
    ZipReader(std::shared_ptr<const tb::ByteSource> bytes, std::string file);
    ~ZipReader();
    ZipReader(const ZipReader&) = delete;
    ZipReader& operator=(const ZipReader&) = delete;

    const std::vector<Entry>& entries() const { return entries_; }
    // Exact, case-sensitive lookup first, then ASCII case-blind (part names
    // are case-insensitive in OPC).
    const Entry* find(const std::string& name) const;
    // The entry inflated; throws on damage (short data, bad CRC, encryption).
    std::string read(const Entry& e) const;
    std::string read(const std::string& name) const;
    // At most the first `n` bytes of the entry, inflated (no checksum is
    // checked); for a look at a part's start without inflating it whole.
    std::string readPrefix(const Entry& e, std::size_t n) const;
    // The entry's compressed bytes with what a writer needs to store them again.
    RawEntry readRaw(const Entry& e) const;

    const std::string& file() const { return file_; }

private:
    std::string inflate(const Entry& e) const;

    std::shared_ptr<const tb::ByteSource> bytes_;
    std::string file_;
    struct Discard {
        void operator()(::zip* z) const;
    };
    std::unique_ptr<::zip, Discard> archive_;  // discarded even when the constructor throws
    // libzip keeps per-archive state (the error, the source's position): a
    // copy made on one thread and a save on another read the same archive.
    mutable std::mutex archiveMutex_;
    std::vector<Entry> entries_;
    std::unordered_map<std::string, std::size_t> byName_;
    std::unordered_map<std::string, std::size_t> byFoldedName_;
};

}  // namespace excel::zip
