#include "ZipError.h"

#include "excel/EngineError.h"

namespace excel::zip {

tb::Error zipDamaged(const std::string& file, const std::string& entry, const std::string& detail)
{
    return damaged(file, entry.empty() ? std::string("zip directory") : "zip entry '" + entry + "'", detail);
}

}  // namespace excel::zip
