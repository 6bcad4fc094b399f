#include "EngineRuns.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::rewriteFormula(data, size);
    return 0;
}
