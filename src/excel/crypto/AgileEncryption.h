#pragma once
// ECMA-376 Agile encryption [MS-OFFCRYPTO 2.3.4.10-2.3.4.15]: an XML
// description, a password key that unlocks the package's own key, the
// package in 4096-byte segments of AES-CBC. Excel 2010 and later write it.

#include "Passwords.h"

namespace excel::crypto {

// `xml`: the EncryptionInfo stream after its 8-byte version and reserved field.
Bytes decryptAgile(View xml, View package, const std::string& file, const PasswordSupply& passwords);

}  // namespace excel::crypto
