#pragma once
// The hashes and ciphers of the workbook encryptions [MS-OFFCRYPTO], over
// nettle. Byte spans in, byte vectors out; nothing here knows a file format.

#include <nettle/arcfour.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace excel::crypto {

using Bytes = std::vector<std::byte>;
using View = std::span<const std::byte>;

enum class HashAlgorithm { Md5, Sha1, Sha256, Sha384, Sha512 };

// Null when the name (as the Agile XML spells it: "SHA1", "SHA512", ...) is not one of ours.
const HashAlgorithm* hashByName(const std::string& name);
std::size_t digestSize(HashAlgorithm h);

// The digest of the concatenation of `parts`.
Bytes digest(HashAlgorithm h, std::initializer_list<View> parts);

// `count` rounds of H(round number, 32-bit little-endian || previous hash)
// from `start`, as the OOXML password keys are stretched [MS-OFFCRYPTO 2.3.4.7, 2.3.4.11].
Bytes iteratedDigest(HashAlgorithm h, View start, std::uint32_t count);

// RC4 as a running key stream: each call goes on where the last stopped.
class Rc4 {
public:
    explicit Rc4(View key);
    void apply(std::span<std::byte> data);
    void skip(std::size_t n);

private:
    arcfour_ctx ctx_;
};

// AES with a 16-, 24- or 32-byte key; `data` is a whole number of blocks.
// Throws std::invalid_argument otherwise.
void aesEcbDecrypt(View key, std::span<std::byte> data);
void aesCbcDecrypt(View key, View iv, std::span<std::byte> data);

Bytes le32(std::uint32_t v);

}  // namespace excel::crypto
