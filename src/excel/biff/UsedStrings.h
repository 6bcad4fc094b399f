#pragma once
// Which shared strings a sheet uses, and the number each gets in the copy's
// pruned table: its rank among them, so the kept strings keep their order.
// A bit a string and a count every 64 strings: a table of new numbers would
// take four bytes a string of the whole workbook's table, for every copy.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace excel::biff {

// The set bits of a word. std::popcount is a call into libgcc on baseline
// x86-64, which has no POPCNT instruction; renumbering makes one count for
// every string cell, so it is done inline.
constexpr std::uint32_t ones(std::uint64_t x)
{
    x -= (x >> 1) & 0x5555555555555555ull;
    x = (x & 0x3333333333333333ull) + ((x >> 2) & 0x3333333333333333ull);
    x = (x + (x >> 4)) & 0x0F0F0F0F0F0F0F0Full;
    return static_cast<std::uint32_t>((x * 0x0101010101010101ull) >> 56);
}

class UsedStrings {
public:
    explicit UsedStrings(std::size_t tableSize) : bits_((tableSize + 63) / 64) {}

    // `i` must lie in the table.
    void mark(std::uint32_t i) { bits_[i / 64] |= std::uint64_t{1} << (i % 64); }

    // Counts the marks; call once all are made, before newIndex.
    void rank()
    {
        ranks_.resize(bits_.size());
        std::uint32_t n = 0;
        for (std::size_t w = 0; w < bits_.size(); ++w) {
            ranks_[w] = n;
            n += ones(bits_[w]);
        }
        count_ = n;
    }
    std::uint32_t count() const { return count_; }
    // The new number of marked string `i`.
    std::uint32_t newIndex(std::uint32_t i) const
    {
        const std::uint64_t below = (std::uint64_t{1} << (i % 64)) - 1;
        return ranks_[i / 64] + ones(bits_[i / 64] & below);
    }
    // Calls f(i) for every marked string, in order.
    template <class F>
    void forEach(F&& f) const
    {
        for (std::size_t w = 0; w < bits_.size(); ++w)
            for (std::uint64_t b = bits_[w]; b != 0; b &= b - 1)
                f(static_cast<std::uint32_t>(w * 64 + static_cast<std::size_t>(std::countr_zero(b))));
    }

private:
    std::vector<std::uint64_t> bits_;
    std::vector<std::uint32_t> ranks_;  // marks before each word
    std::uint32_t count_ = 0;
};

}  // namespace excel::biff
