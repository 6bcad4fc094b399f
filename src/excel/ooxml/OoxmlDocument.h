#pragma once

#include "excel/Document.h"

namespace excel::ooxml {

// Opens an Office Open XML package (.xlsx, .xlsm). Reads only the package
// directory, the workbook part and its relationships.
std::unique_ptr<Document> openPackage(std::shared_ptr<const tb::ByteSource> bytes, const std::string& file);

}  // namespace excel::ooxml
