#pragma once
// The Workbook stream of an .xls file with a password to open [MS-XLS 2.2.10]:
// a FILEPASS record near its start says how the records after it are
// encrypted (XOR obfuscation, RC4 or RC4 CryptoAPI). Decrypting gives the
// stream as it was before it was encrypted, FILEPASS taken out, so that the
// BIFF reader and every copy see an ordinary workbook.

#include "Passwords.h"
#include "excel/cfb/CompoundFile.h"

#include <memory>
#include <string>

namespace excel::crypto {

// True when the stream's globals hold a FILEPASS record. Reads only the
// first records.
bool hasFilePass(cfb::Stream& stream);

// The whole stream decrypted with the first password from `passwords` that
// opens it, FILEPASS removed and the stream offsets after it moved back.
// Throws tb::Error 1004 naming `file`: no password opens it, an encryption
// this engine does not know, or a damaged record.
Bytes decryptWorkbookStream(View stream, const std::string& file, const PasswordSupply& passwords);

// `root` with the stream `name` replaced by `decrypted`, and without the
// encrypted property stream ("encryption") that only a decrypting reader can use.
std::unique_ptr<cfb::Storage> withDecryptedStream(std::unique_ptr<cfb::Storage> root, const std::string& name,
                                                  Bytes decrypted, const std::string& file);

}  // namespace excel::crypto
