#include "StandardEncryption.h"

#include "excel/EngineError.h"
#include "excel/biff/Bytes.h"

#include <algorithm>

namespace excel::crypto {

namespace {

constexpr std::uint32_t kSpinCount = 50000;
constexpr std::uint32_t kAes128 = 0x660E, kAes192 = 0x660F, kAes256 = 0x6610;

[[noreturn]] void bad(const std::string& file, const std::string& what)
{
    throw damaged(file, "EncryptionInfo stream", what);
}

// [2.3.4.7]: the password hashed with the salt, 50,000 rounds, the block
// number, then widened through the two HMAC pads.
Bytes passwordKey(const std::string& password, View salt, std::size_t keyBytes)
{
    Bytes h = iteratedDigest(HashAlgorithm::Sha1, digest(HashAlgorithm::Sha1, {salt, utf16le(password)}), kSpinCount);
    h = digest(HashAlgorithm::Sha1, {h, le32(0)});
    Bytes pad1(64, std::byte{0x36}), pad2(64, std::byte{0x5C});
    for (std::size_t i = 0; i < h.size(); ++i) {
        pad1[i] ^= h[i];
        pad2[i] ^= h[i];
    }
    Bytes key = digest(HashAlgorithm::Sha1, {pad1});
    const Bytes x2 = digest(HashAlgorithm::Sha1, {pad2});
    key.insert(key.end(), x2.begin(), x2.end());
    key.resize(keyBytes);
    return key;
}

}  // namespace

Bytes decryptStandard(View info, View package, const std::string& file, const PasswordSupply& passwords)
{
    // Flags, header size, EncryptionHeader, EncryptionVerifier [2.3.4.5, 2.3.4.6].
    if (info.size() < 8)
        bad(file, "the encryption header is missing");
    const std::uint32_t headerSize = biff::u32(info, 4);
    if (headerSize < 32 || 8 + std::size_t{headerSize} + 4 + 16 + 16 + 4 + 32 > info.size())
        bad(file, "the encryption header or verifier runs past the end of the stream");
    const View header = info.subspan(8, headerSize);
    const std::uint32_t algId = biff::u32(header, 8), keyBits = biff::u32(header, 16);
    if ((algId != kAes128 && algId != kAes192 && algId != kAes256 && algId != 0) ||
        (keyBits != 128 && keyBits != 192 && keyBits != 256))
        throw refused(file, "is encrypted (password to open) with a cipher this program does not know (algorithm " +
                                std::to_string(algId) + ", " + std::to_string(keyBits) + " bits).");
    const View verifierPart = info.subspan(8 + headerSize);
    if (biff::u32(verifierPart, 0) != 16)
        bad(file, "the verifier's salt is not 16 bytes");
    const View salt = verifierPart.subspan(4, 16), verifier = verifierPart.subspan(20, 16),
               verifierHash = verifierPart.subspan(40, 32);

    const Bytes key = firstKey<Bytes>(passwords, file, [&](const std::string& p) -> std::optional<Bytes> {
        Bytes k = passwordKey(p, salt, keyBits / 8);
        Bytes v(verifier.begin(), verifier.end()), h(verifierHash.begin(), verifierHash.end());
        aesEcbDecrypt(k, v);
        aesEcbDecrypt(k, h);
        const Bytes expected = digest(HashAlgorithm::Sha1, {v});
        if (!std::equal(expected.begin(), expected.end(), h.begin()))
            return std::nullopt;
        return k;
    });

    // The package: its size, then AES-ECB blocks [2.3.4.4].
    if (package.size() < 8)
        throw damaged(file, "EncryptedPackage stream", "it holds " + std::to_string(package.size()) + " bytes");
    const std::uint64_t size = biff::u32(package, 0) | (std::uint64_t{biff::u32(package, 4)} << 32);
    Bytes out(package.begin() + 8, package.end());
    out.resize(out.size() / 16 * 16);
    if (size > out.size())
        throw damaged(file, "EncryptedPackage stream",
                      "it claims " + std::to_string(size) + " bytes and holds " + std::to_string(out.size()));
    aesEcbDecrypt(key, out);
    out.resize(static_cast<std::size_t>(size));
    return out;
}

}  // namespace excel::crypto
