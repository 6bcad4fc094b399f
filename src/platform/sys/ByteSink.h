#pragma once
// Where a writer puts its bytes. Writers never open files themselves: a file
// is one sink among others (memory for tests, a sink that fails after N bytes
// for fault tests).

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tb {

class ByteSink {
public:
    virtual ~ByteSink() = default;
    // Throws tb::Error when the bytes cannot be taken.
    virtual void write(std::span<const std::byte> bytes) = 0;
    // Overwrites bytes written before, all of them below the current size:
    // formats whose header is final only once the rest is out (a compound
    // file) write it last. Throws tb::Error as write does.
    virtual void rewrite(std::uint64_t offset, std::span<const std::byte> bytes) = 0;
};

class MemorySink final : public ByteSink {
public:
    void write(std::span<const std::byte> bytes) override { data.insert(data.end(), bytes.begin(), bytes.end()); }
    void rewrite(std::uint64_t offset, std::span<const std::byte> bytes) override
    {
        std::copy(bytes.begin(), bytes.end(), data.begin() + static_cast<std::ptrdiff_t>(offset));
    }
    std::vector<std::byte> data;
};

// Read-only bytes of a whole file or buffer, kept alive by whoever holds it.
class ByteSource {
public:
    virtual ~ByteSource() = default;
    virtual std::span<const std::byte> bytes() const = 0;
    // Lets the bytes read so far leave memory; the view stays valid and
    // what is touched again is read again. A no-op for bytes held in memory.
    virtual void release() const {}
};

class MemorySource final : public ByteSource {
public:
    explicit MemorySource(std::vector<std::byte> d) : data_(std::move(d)) {}
    std::span<const std::byte> bytes() const override { return data_; }

private:
    std::vector<std::byte> data_;
};

}  // namespace tb
