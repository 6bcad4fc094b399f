#pragma once
// What every fuzz target shares: the input as a byte source the engine reads
// in place, and the rule that a tb::Error is the one acceptable way for the
// engine to refuse an input. Anything else that escapes (another exception
// type, a crash, a sanitizer report, a hang) is a finding.

#include "platform/sys/ByteSink.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace fuzz {

// Borrows libFuzzer's buffer for the length of one run; copying it would hide
// reads past its end from AddressSanitizer.
class BorrowedSource final : public tb::ByteSource {
public:
    BorrowedSource(const std::uint8_t* data, std::size_t size)
        : bytes_(reinterpret_cast<const std::byte*>(data), size) {}
    std::span<const std::byte> bytes() const override { return bytes_; }

private:
    std::span<const std::byte> bytes_;
};

inline std::shared_ptr<const tb::ByteSource> source(const std::uint8_t* data, std::size_t size)
{
    return std::make_shared<BorrowedSource>(data, size);
}

// Copies at most this many worksheets per input, so that one input with
// thousands of sheets does not look like a hang.
inline constexpr std::size_t kSheetsPerInput = 4;

}  // namespace fuzz
