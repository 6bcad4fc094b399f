#include "BiffDocument.h"

#include "excel/EngineError.h"

namespace excel::biff {

std::unique_ptr<Document> openCompoundFile(std::shared_ptr<const tb::ByteSource>, const std::string& file)
{
    throw engineError(file, "Excel 97-2003 workbooks cannot be read by this build.");
}

}  // namespace excel::biff
