#include "OoxmlDocument.h"

#include "excel/EngineError.h"

namespace excel::ooxml {

std::unique_ptr<Document> openPackage(std::shared_ptr<const tb::ByteSource>, const std::string& file)
{
    throw engineError(file, "Office Open XML workbooks cannot be read by this build.");
}

}  // namespace excel::ooxml
