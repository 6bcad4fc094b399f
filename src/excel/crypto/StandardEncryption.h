#pragma once
// ECMA-376 Standard encryption [MS-OFFCRYPTO 2.3.4.5-2.3.4.9]: AES in ECB
// mode, the key from 50,000 rounds of SHA-1, as Excel 2007 wrote it.

#include "Passwords.h"

namespace excel::crypto {

// `info`: the EncryptionInfo stream after its 4-byte version.
// `package`: the whole EncryptedPackage stream.
Bytes decryptStandard(View info, View package, const std::string& file, const PasswordSupply& passwords);

}  // namespace excel::crypto
