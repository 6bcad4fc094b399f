#pragma once

#include "excel/Document.h"
#include "excel/cfb/CompoundFile.h"

namespace excel::biff {

// Opens an OLE2 compound file: a BIFF8 workbook, or tells apart what it
// cannot read (an encrypted OOXML package, older BIFF versions).
std::unique_ptr<Document> openCompoundFile(std::shared_ptr<const tb::ByteSource> bytes, const std::string& file);

// The same over the file's root storage, already open; a workbook stream
// with a password to open is decrypted with `passwords` first.
std::unique_ptr<Document> openCompoundFile(std::unique_ptr<cfb::Storage> root,
                                           std::shared_ptr<const tb::ByteSource> bytes, const std::string& file,
                                           const crypto::PasswordSupply& passwords);

}  // namespace excel::biff
