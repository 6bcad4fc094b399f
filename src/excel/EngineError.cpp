#include "EngineError.h"

namespace excel {

tb::Error engineError(const std::string& file, const std::string& what)
{
    return tb::Error(tb::err::EngineFailure, "'" + file + "': " + what);
}

tb::Error damaged(const std::string& file, const std::string& where, const std::string& detail)
{
    return tb::Error(tb::err::EngineFailure, "'" + file + "' is damaged: " + where + ": " + detail);
}

tb::Error refused(const std::string& file, const std::string& isWhat)
{
    return tb::Error(tb::err::EngineFailure, "'" + file + "' " + isWhat);
}

}  // namespace excel
