#pragma once

#include "excel/Document.h"

namespace excel::biff {

// Opens an OLE2 compound file: a BIFF8 workbook, or tells apart what it
// cannot read (an encrypted OOXML package, older BIFF versions).
std::unique_ptr<Document> openCompoundFile(std::shared_ptr<const tb::ByteSource> bytes, const std::string& file);

}  // namespace excel::biff
