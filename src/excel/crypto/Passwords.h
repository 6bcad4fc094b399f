#pragma once
// The passwords an encrypted workbook is tried with, and the forms the
// encryptions hash them in.

#include "PasswordSupply.h"
#include "Primitives.h"

namespace excel::crypto {

// What Excel encrypts a workbook with when no one gave a password (a
// workbook that only protects its structure, say); it opens such a file
// without asking.
inline constexpr const char* kDefaultPassword = "VelvetSweatshop";

// UTF-16LE, as every encryption but XOR obfuscation hashes the password.
Bytes utf16le(const std::string& utf8);

// The single bytes of XOR obfuscation [MS-OFFCRYPTO 2.3.7.4]: of each UTF-16
// unit its low byte, or its high byte when the low one is zero; at most 15.
Bytes xorPasswordBytes(const std::string& utf8);

// Asks `supply` for passwords until `attempt` turns one into a key, and gives
// that key. Throws the refusal naming `file` when the supply has no more.
template <class Key, class Attempt>
Key firstKey(const PasswordSupply& supply, const std::string& file, Attempt attempt);

[[noreturn]] void throwNoPassword(const std::string& file);

template <class Key, class Attempt>
Key firstKey(const PasswordSupply& supply, const std::string& file, Attempt attempt)
{
    while (supply) {
        const std::optional<std::string> password = supply();
        if (!password)
            break;
        if (std::optional<Key> key = attempt(*password))
            return std::move(*key);
    }
    throwNoPassword(file);
}

}  // namespace excel::crypto
