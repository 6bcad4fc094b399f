#pragma once
// XOR obfuscation, method 1 [MS-OFFCRYPTO 2.3.7.1-2.3.7.4], as Excel 97-2003
// wrote it with the "weak encryption" option and Excel 95 always did.

#include "Primitives.h"

#include <array>
#include <cstdint>
#include <optional>

namespace excel::crypto {

using XorArray = std::array<std::uint8_t, 16>;

std::uint16_t xorKey(View password);
std::uint16_t xorVerifier(View password);

// The obfuscation array when `password` (single bytes, xorPasswordBytes)
// matches the key and verifier the file holds; nothing when it does not.
std::optional<XorArray> xorArrayFor(View password, std::uint16_t key, std::uint16_t verifier);

// Undoes the obfuscation of `data`, whose first byte takes array entry `index`.
void xorDecrypt(const XorArray& array, std::size_t index, std::span<std::byte> data);

}  // namespace excel::crypto
