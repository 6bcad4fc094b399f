#include "EngineRuns.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::listCompoundFile(data, size);
    return 0;
}
