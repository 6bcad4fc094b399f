#include "Primitives.h"

#include <nettle/aes.h>
#include <nettle/arcfour.h>
#include <nettle/cbc.h>
#include <nettle/nettle-meta.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace excel::crypto {

namespace {

const std::array<std::pair<const char*, HashAlgorithm>, 5> kHashNames{{{"MD5", HashAlgorithm::Md5},
                                                                      {"SHA1", HashAlgorithm::Sha1},
                                                                      {"SHA256", HashAlgorithm::Sha256},
                                                                      {"SHA384", HashAlgorithm::Sha384},
                                                                      {"SHA512", HashAlgorithm::Sha512}}};

const std::uint8_t* u8(View v) { return reinterpret_cast<const std::uint8_t*>(v.data()); }
std::uint8_t* u8(std::span<std::byte> v) { return reinterpret_cast<std::uint8_t*>(v.data()); }

const nettle_hash& hashFor(HashAlgorithm h)
{
    switch (h) {
    case HashAlgorithm::Md5: return nettle_md5;
    case HashAlgorithm::Sha1: return nettle_sha1;
    case HashAlgorithm::Sha256: return nettle_sha256;
    case HashAlgorithm::Sha384: return nettle_sha384;
    case HashAlgorithm::Sha512: return nettle_sha512;
    }
    return nettle_sha1;
}

// nettle's generic cipher description, so one code path serves the three key sizes.
const nettle_cipher& aesFor(View key)
{
    switch (key.size()) {
    case 16: return nettle_aes128;
    case 24: return nettle_aes192;
    case 32: return nettle_aes256;
    default: throw std::invalid_argument("an AES key of " + std::to_string(key.size()) + " bytes");
    }
}

void requireBlocks(std::size_t n)
{
    if (n % AES_BLOCK_SIZE != 0)
        throw std::invalid_argument("AES data that is not a whole number of blocks");
}

}  // namespace

const HashAlgorithm* hashByName(const std::string& name)
{
    for (const auto& [n, h] : kHashNames)
        if (name == n)
            return &h;
    return nullptr;
}

std::size_t digestSize(HashAlgorithm h) { return hashFor(h).digest_size; }

Bytes digest(HashAlgorithm h, std::initializer_list<View> parts)
{
    const nettle_hash& m = hashFor(h);
    std::vector<std::uint8_t> ctx(m.context_size);
    m.init(ctx.data());
    for (View p : parts)
        m.update(ctx.data(), p.size(), u8(p));
    Bytes out(m.digest_size);
    m.digest(ctx.data(), out.size(), u8(std::span<std::byte>(out)));
    return out;
}

Bytes iteratedDigest(HashAlgorithm h, View start, std::uint32_t count)
{
    // One buffer holds the iterator and the hash before it: no allocation
    // in a loop that runs up to ten million times.
    const nettle_hash& m = hashFor(h);
    std::vector<std::uint8_t> ctx(m.context_size);
    std::vector<std::uint8_t> buffer(4 + m.digest_size);
    std::memcpy(buffer.data() + 4, start.data(), std::min<std::size_t>(start.size(), m.digest_size));
    for (std::uint32_t i = 0; i < count; ++i) {
        for (int b = 0; b < 4; ++b)
            buffer[static_cast<std::size_t>(b)] = static_cast<std::uint8_t>(i >> (8 * b));
        m.init(ctx.data());
        m.update(ctx.data(), buffer.size(), buffer.data());
        m.digest(ctx.data(), m.digest_size, buffer.data() + 4);
    }
    const auto* h0 = reinterpret_cast<const std::byte*>(buffer.data() + 4);
    return Bytes(h0, h0 + m.digest_size);
}

Rc4::Rc4(View key)
{
    if (key.empty() || key.size() > ARCFOUR_MAX_KEY_SIZE)
        throw std::invalid_argument("an RC4 key of " + std::to_string(key.size()) + " bytes");
    arcfour_set_key(&ctx_, key.size(), u8(key));
}

void Rc4::apply(std::span<std::byte> data) { arcfour_crypt(&ctx_, data.size(), u8(data), u8(data)); }

void Rc4::skip(std::size_t n)
{
    std::uint8_t scratch[256];
    while (n > 0) {
        const std::size_t k = std::min(n, sizeof scratch);
        arcfour_crypt(&ctx_, k, scratch, scratch);
        n -= k;
    }
}

void aesEcbDecrypt(View key, std::span<std::byte> data)
{
    requireBlocks(data.size());
    const nettle_cipher& aes = aesFor(key);
    std::vector<std::uint8_t> ctx(aes.context_size);
    aes.set_decrypt_key(ctx.data(), u8(key));
    aes.decrypt(ctx.data(), data.size(), u8(data), u8(data));
}

void aesCbcDecrypt(View key, View iv, std::span<std::byte> data)
{
    requireBlocks(data.size());
    if (iv.size() < AES_BLOCK_SIZE)
        throw std::invalid_argument("an AES initialization vector shorter than a block");
    const nettle_cipher& aes = aesFor(key);
    std::vector<std::uint8_t> ctx(aes.context_size);
    aes.set_decrypt_key(ctx.data(), u8(key));
    std::uint8_t chain[AES_BLOCK_SIZE];
    std::memcpy(chain, iv.data(), AES_BLOCK_SIZE);
    cbc_decrypt(ctx.data(), aes.decrypt, AES_BLOCK_SIZE, chain, data.size(), u8(data), u8(data));
}

Bytes le32(std::uint32_t v)
{
    return {std::byte(v & 0xFF), std::byte((v >> 8) & 0xFF), std::byte((v >> 16) & 0xFF), std::byte(v >> 24)};
}

}  // namespace excel::crypto
