#pragma once
// Writes a file so that it appears whole or not at all: the bytes go to a
// file in the target's own folder that has no name (O_TMPFILE) and gets the
// target's only once everything is written and flushed; one that replaces a
// file is named beside it first and renamed over it. A failure at any point,
// a crash included, leaves no file behind and an existing target as it was.
// Where the file system has no unnamed files, a named temporary stands in.

#include "ByteSink.h"

#include <filesystem>
#include <functional>

namespace tb::fs {

class AtomicFile final : public ByteSink {
public:
    // Creates the temporary file; throws tb::Error naming `target` when the
    // folder is missing or not writable.
    explicit AtomicFile(std::filesystem::path target);
    ~AtomicFile() override;  // discards unless committed
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    void write(std::span<const std::byte> bytes) override;
    void rewrite(std::uint64_t offset, std::span<const std::byte> bytes) override;
    // Flushes and moves the file into place; throws tb::Error on failure.
    void commit();

    const std::filesystem::path& target() const { return target_; }

private:
    // Writes at the end of the file, or at `offset` when it is 0 or more.
    void put(std::span<const std::byte> bytes, std::int64_t offset);
    void discard() noexcept;
    std::filesystem::path target_;
    std::filesystem::path temp_;  // the file's name until it is renamed; empty while it has none
    int fd_ = -1;
    bool committed_ = false;
};

// Writes a whole file atomically by handing `produce` the sink.
void writeFileAtomically(const std::filesystem::path& target, const std::function<void(ByteSink&)>& produce);

}  // namespace tb::fs
