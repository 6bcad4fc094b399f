#pragma once
// Little-endian access to BIFF record bodies. Callers check lengths first;
// these helpers only read and write.

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace excel::biff {

using Bytes = std::span<const std::byte>;

inline std::uint8_t u8(Bytes b, std::size_t at) { return static_cast<std::uint8_t>(b[at]); }
inline std::uint16_t u16(Bytes b, std::size_t at) { return static_cast<std::uint16_t>(u8(b, at) | (u8(b, at + 1) << 8)); }
inline std::uint32_t u32(Bytes b, std::size_t at)
{
    return static_cast<std::uint32_t>(u16(b, at)) | (static_cast<std::uint32_t>(u16(b, at + 2)) << 16);
}

inline void put16(std::vector<std::byte>& v, std::size_t at, std::uint16_t x)
{
    v[at] = std::byte(x & 0xFF);
    v[at + 1] = std::byte(x >> 8);
}
inline void put32(std::vector<std::byte>& v, std::size_t at, std::uint32_t x)
{
    put16(v, at, static_cast<std::uint16_t>(x & 0xFFFF));
    put16(v, at + 2, static_cast<std::uint16_t>(x >> 16));
}
inline void push8(std::vector<std::byte>& v, std::uint8_t x) { v.push_back(std::byte(x)); }
inline void push16(std::vector<std::byte>& v, std::uint16_t x)
{
    v.push_back(std::byte(x & 0xFF));
    v.push_back(std::byte(x >> 8));
}
inline void push32(std::vector<std::byte>& v, std::uint32_t x)
{
    push16(v, static_cast<std::uint16_t>(x & 0xFFFF));
    push16(v, static_cast<std::uint16_t>(x >> 16));
}
inline void append(std::vector<std::byte>& v, Bytes b) { v.insert(v.end(), b.begin(), b.end()); }

}  // namespace excel::biff
