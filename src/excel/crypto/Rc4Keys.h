#pragma once
// The keys of the two RC4 encryptions of Office 97-2003 files: "RC4"
// [MS-OFFCRYPTO 2.3.6], MD5 based, and "RC4 CryptoAPI" [MS-OFFCRYPTO 2.3.5],
// SHA-1 based. Both re-key the cipher for each block of the stream.

#include "Primitives.h"

#include <optional>

namespace excel::crypto {

class Rc4Keys {
public:
    // RC4 [2.3.6.2]: salt, encrypted verifier and its encrypted MD5, 16 bytes each.
    static std::optional<Rc4Keys> md5(const std::string& password, View salt, View verifier, View verifierHash);
    // RC4 CryptoAPI [2.3.5.2]: `keyBits` 40 to 128 (0 means 40); the verifier's
    // hash is a SHA-1 of 20 bytes.
    static std::optional<Rc4Keys> cryptoApi(const std::string& password, View salt, std::uint32_t keyBits,
                                            View verifier, View verifierHash);

    // A fresh cipher for block `block` of the stream.
    Rc4 cipher(std::uint32_t block) const;

private:
    enum class Kind { Md5, CryptoApi };
    Rc4Keys(Kind kind, Bytes base, std::size_t keyBytes) : kind_(kind), base_(std::move(base)), keyBytes_(keyBytes) {}
    bool verifies(View verifier, View verifierHash) const;

    Kind kind_;
    Bytes base_;  // the hash the block keys are made from
    std::size_t keyBytes_;
};

}  // namespace excel::crypto
