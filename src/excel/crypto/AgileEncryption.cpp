#include "AgileEncryption.h"

#include "excel/EngineError.h"
#include "excel/biff/Bytes.h"

#include <nettle/base64.h>
#include <pugixml.hpp>

#include <algorithm>
#include <cstring>

namespace excel::crypto {

namespace {

constexpr std::size_t kSegment = 4096;
constexpr std::uint32_t kMaxSpinCount = 10'000'000;  // Excel writes 100,000
constexpr std::array<std::uint8_t, 8> kVerifierInputBlock{0xFE, 0xA7, 0xD2, 0x76, 0x3B, 0x4B, 0x9E, 0x79};
constexpr std::array<std::uint8_t, 8> kVerifierValueBlock{0xD7, 0xAA, 0x0F, 0x6D, 0x30, 0x61, 0x34, 0x4E};
constexpr std::array<std::uint8_t, 8> kKeyValueBlock{0x14, 0x6E, 0x0B, 0xE7, 0xAB, 0xAC, 0xD0, 0xD6};

[[noreturn]] void bad(const std::string& file, const std::string& what)
{
    throw damaged(file, "EncryptionInfo stream", what);
}

View blockKey(const std::array<std::uint8_t, 8>& b) { return View(reinterpret_cast<const std::byte*>(b.data()), 8); }

Bytes base64(const char* text, const std::string& file, const char* attribute)
{
    const std::size_t n = std::strlen(text);
    Bytes out(BASE64_DECODE_LENGTH(n));
    base64_decode_ctx ctx;
    base64_decode_init(&ctx);
    std::size_t written = out.size();
    if (!base64_decode_update(&ctx, &written, reinterpret_cast<std::uint8_t*>(out.data()), n, text) ||
        !base64_decode_final(&ctx))
        bad(file, std::string("the attribute ") + attribute + " is not base64");
    out.resize(written);
    return out;
}

// The parameters keyData and the password's encryptedKey share.
struct Params {
    HashAlgorithm hash = HashAlgorithm::Sha1;
    std::size_t keyBytes = 0;
    std::size_t blockSize = 0;
    Bytes salt;
};

Params paramsOf(const pugi::xml_node& n, const std::string& file)
{
    Params p;
    const std::string cipher = n.attribute("cipherAlgorithm").as_string();
    const std::string chaining = n.attribute("cipherChaining").as_string();
    if (cipher != "AES" || chaining != "ChainingModeCBC")
        throw refused(file, "is encrypted (password to open) with " + cipher + " in " + chaining +
                                ", which this program does not know.");
    const HashAlgorithm* h = hashByName(n.attribute("hashAlgorithm").as_string());
    if (!h)
        throw refused(file, std::string("is encrypted (password to open) with the hash ") +
                                n.attribute("hashAlgorithm").as_string() + ", which this program does not know.");
    p.hash = *h;
    const unsigned bits = n.attribute("keyBits").as_uint();
    if (bits != 128 && bits != 192 && bits != 256)
        bad(file, "a key of " + std::to_string(bits) + " bits");
    p.keyBytes = bits / 8;
    p.blockSize = n.attribute("blockSize").as_uint();
    if (p.blockSize != 16)
        bad(file, "an AES block of " + std::to_string(p.blockSize) + " bytes");
    p.salt = base64(n.attribute("saltValue").as_string(), file, "saltValue");
    if (p.salt.size() < 16)
        bad(file, "a salt of " + std::to_string(p.salt.size()) + " bytes");
    return p;
}

// [2.3.4.11]: a hash truncated, or padded with 0x36, to `size` bytes.
Bytes fitted(Bytes h, std::size_t size)
{
    h.resize(size, std::byte{0x36});
    return h;
}

Bytes decrypted(View key, View iv, View data, std::size_t size)
{
    Bytes out(data.begin(), data.end());
    out.resize(out.size() / 16 * 16);
    aesCbcDecrypt(key, iv.first(16), out);
    if (out.size() > size)
        out.resize(size);
    return out;
}

}  // namespace

Bytes decryptAgile(View xml, View package, const std::string& file, const PasswordSupply& passwords)
{
    pugi::xml_document doc;
    if (!doc.load_buffer(xml.data(), xml.size()))
        bad(file, "the encryption description is not XML");
    const pugi::xml_node encryption = doc.child("encryption");
    const pugi::xml_node keyData = encryption.child("keyData");
    pugi::xml_node encryptedKey;
    for (const pugi::xml_node& k : encryption.child("keyEncryptors").children("keyEncryptor"))
        if (std::string(k.attribute("uri").as_string()).ends_with("/keyEncryptor/password"))
            encryptedKey = k.first_child();
    if (!keyData || !encryptedKey)
        throw refused(file, "is encrypted with a certificate, not a password; this program opens only workbooks "
                            "with a password to open.");
    const Params data = paramsOf(keyData, file);
    const Params pw = paramsOf(encryptedKey, file);
    const std::uint32_t spinCount = encryptedKey.attribute("spinCount").as_uint();
    if (spinCount > kMaxSpinCount)
        bad(file, "a spin count of " + std::to_string(spinCount));
    const Bytes verifierInput = base64(encryptedKey.attribute("encryptedVerifierHashInput").as_string(), file,
                                       "encryptedVerifierHashInput");
    const Bytes verifierValue = base64(encryptedKey.attribute("encryptedVerifierHashValue").as_string(), file,
                                       "encryptedVerifierHashValue");
    const Bytes keyValue = base64(encryptedKey.attribute("encryptedKeyValue").as_string(), file, "encryptedKeyValue");

    // [2.3.4.13]: the password's hash unlocks the verifier and the package's key.
    const Bytes secret = firstKey<Bytes>(passwords, file, [&](const std::string& p) -> std::optional<Bytes> {
        const Bytes h = iteratedDigest(pw.hash, digest(pw.hash, {pw.salt, utf16le(p)}), spinCount);
        auto keyFor = [&](const std::array<std::uint8_t, 8>& block) {
            return fitted(digest(pw.hash, {h, blockKey(block)}), pw.keyBytes);
        };
        const Bytes input = decrypted(keyFor(kVerifierInputBlock), pw.salt, verifierInput, pw.salt.size());
        const Bytes value = decrypted(keyFor(kVerifierValueBlock), pw.salt, verifierValue, digestSize(pw.hash));
        if (digest(pw.hash, {input}) != value)
            return std::nullopt;
        return decrypted(keyFor(kKeyValueBlock), pw.salt, keyValue, data.keyBytes);
    });
    if (secret.size() != data.keyBytes)
        bad(file, "the package key is " + std::to_string(secret.size()) + " bytes");

    // [2.3.4.15]: the size, then segments of 4096 bytes, each with its own IV.
    if (package.size() < 8)
        throw damaged(file, "EncryptedPackage stream", "it holds " + std::to_string(package.size()) + " bytes");
    const std::uint64_t size = biff::u32(package, 0) | (std::uint64_t{biff::u32(package, 4)} << 32);
    const View body = package.subspan(8);
    if (size > body.size())
        throw damaged(file, "EncryptedPackage stream",
                      "it claims " + std::to_string(size) + " bytes and holds " + std::to_string(body.size()));
    Bytes out;
    out.reserve(body.size());
    for (std::size_t at = 0, segment = 0; at < size; at += kSegment, ++segment) {
        const View chunk = body.subspan(at, std::min(kSegment, body.size() - at));
        const Bytes iv = fitted(digest(data.hash, {data.salt, le32(static_cast<std::uint32_t>(segment))}), 16);
        const Bytes plain = decrypted(secret, iv, chunk, chunk.size());
        out.insert(out.end(), plain.begin(), plain.end());
    }
    out.resize(static_cast<std::size_t>(size));
    return out;
}

}  // namespace excel::crypto
