#pragma once
// An Office Open XML workbook with a password to open [MS-OFFCRYPTO 2.3.4]:
// a compound file whose EncryptionInfo stream says how the package was
// encrypted (ECMA-376 Standard or Agile encryption) and whose
// EncryptedPackage stream holds it.

#include "Passwords.h"
#include "excel/cfb/CompoundFile.h"

namespace excel::crypto {

bool isEncryptedPackage(const cfb::Storage& root);

// The package's bytes (a zip), decrypted with the first password from
// `passwords` that opens it. Throws tb::Error 1004 naming `file`.
Bytes decryptPackage(const cfb::Storage& root, const std::string& file, const PasswordSupply& passwords);

// The same over the two streams' bytes.
Bytes decryptPackage(View info, View package, const std::string& file, const PasswordSupply& passwords);

}  // namespace excel::crypto
