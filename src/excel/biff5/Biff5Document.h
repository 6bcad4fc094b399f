#pragma once
// Excel 5.0/95 workbooks (BIFF5 and BIFF7 in a compound file, the stream
// named "Book" in any letter case, or "Workbook" by some writers).

#include "excel/Document.h"
#include "excel/cfb/CompoundFile.h"

namespace excel::biff5 {

// True when the stream `name` of `root` starts as an Excel 5.0/95 workbook.
bool holdsBiff5(const cfb::Storage& root, const std::string& name);

// Opens the workbook in stream `name` of `root`, which was opened over
// `bytes`. Throws tb::Error naming `file`.
std::unique_ptr<Document> openBiff5(std::shared_ptr<const tb::ByteSource> bytes, std::unique_ptr<cfb::Storage> root,
                                    const std::string& name, const std::string& file);

}  // namespace excel::biff5
