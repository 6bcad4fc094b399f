#pragma once
// Makes the one-sheet package of a worksheet at package level: the sheet part
// and every part it reaches, the workbook-level parts kept whole or pruned,
// workbook.xml and docProps rewritten, references to other sheets turned into
// an external link to the source.

#include "OutputPackage.h"
#include "SourcePackage.h"
#include "excel/Document.h"

#include <memory>

namespace excel::ooxml {

// `worksheet` indexes SourcePackage::worksheets(). Throws tb::Error 1004.
// With `from.valuesOnly`, what was changed goes into `report`.
OutputPackage copyWorksheetPackage(const std::shared_ptr<const SourcePackage>& source, std::size_t worksheet,
                                   const CopySource& from, ValuesReport* report = nullptr);

}  // namespace excel::ooxml
