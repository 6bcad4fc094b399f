#pragma once
// A file mapped read-only into memory. Readers parse from the bytes; only the
// parts they touch are paged in, so listing a large workbook reads little of it.

#include "ByteSink.h"

#include <filesystem>
#include <memory>

namespace tb::fs {

class MappedFile final : public ByteSource {
public:
    // Throws tb::Error (53, 70, 75, 76) naming the path.
    static std::shared_ptr<const MappedFile> open(const std::filesystem::path& path);
    ~MappedFile() override;
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    std::span<const std::byte> bytes() const override { return {data_, size_}; }
    // Drops the pages this mapping holds; the file's pages stay in the page
    // cache, so reading them again costs a minor fault, not a disk read.
    void release() const override;

private:
    MappedFile(const std::byte* data, std::size_t size) : data_(data), size_(size) {}
    const std::byte* data_;
    std::size_t size_;
};

}  // namespace tb::fs
