#include "EngineRuns.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::listOoxml(data, size);
    return 0;
}
