#include "Rc4Keys.h"

#include "Passwords.h"

#include <algorithm>

namespace excel::crypto {

std::optional<Rc4Keys> Rc4Keys::md5(const std::string& password, View salt, View verifier, View verifierHash)
{
    // [2.3.6.2]: MD5 of the password, its first 5 bytes and the salt 16 times
    // over, hashed again; its first 5 bytes are the base of every block key.
    const Bytes h0 = digest(HashAlgorithm::Md5, {utf16le(password)});
    Bytes buffer;
    for (int i = 0; i < 16; ++i) {
        buffer.insert(buffer.end(), h0.begin(), h0.begin() + 5);
        buffer.insert(buffer.end(), salt.begin(), salt.end());
    }
    Bytes h1 = digest(HashAlgorithm::Md5, {buffer});
    h1.resize(5);
    Rc4Keys keys(Kind::Md5, std::move(h1), 16);
    if (!keys.verifies(verifier, verifierHash))
        return std::nullopt;
    return keys;
}

std::optional<Rc4Keys> Rc4Keys::cryptoApi(const std::string& password, View salt, std::uint32_t keyBits, View verifier,
                                          View verifierHash)
{
    if (keyBits == 0)
        keyBits = 40;
    if (keyBits < 40 || keyBits > 128 || keyBits % 8 != 0)
        return std::nullopt;
    Rc4Keys keys(Kind::CryptoApi, digest(HashAlgorithm::Sha1, {salt, utf16le(password)}), keyBits / 8);
    if (!keys.verifies(verifier, verifierHash))
        return std::nullopt;
    return keys;
}

Rc4 Rc4Keys::cipher(std::uint32_t block) const
{
    const HashAlgorithm h = kind_ == Kind::Md5 ? HashAlgorithm::Md5 : HashAlgorithm::Sha1;
    Bytes key = digest(h, {base_, le32(block)});
    key.resize(keyBytes_);
    // A 40-bit CryptoAPI key goes to RC4 as 128 bits, the rest zero, as the
    // CryptoAPI provider does [2.3.5.2].
    if (kind_ == Kind::CryptoApi && keyBytes_ == 5)
        key.resize(16);
    return Rc4(key);
}

bool Rc4Keys::verifies(View verifier, View verifierHash) const
{
    const std::size_t hashSize = kind_ == Kind::Md5 ? 16 : 20;
    if (verifier.size() != 16 || verifierHash.size() < hashSize)
        return false;
    Rc4 rc4 = cipher(0);
    Bytes v(verifier.begin(), verifier.end());
    Bytes h(verifierHash.begin(), verifierHash.begin() + static_cast<std::ptrdiff_t>(hashSize));
    rc4.apply(v);
    rc4.apply(h);
    const Bytes expected = digest(kind_ == Kind::Md5 ? HashAlgorithm::Md5 : HashAlgorithm::Sha1, {v});
    return std::equal(h.begin(), h.end(), expected.begin());
}

}  // namespace excel::crypto
