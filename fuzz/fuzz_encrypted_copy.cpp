#include "EngineRuns.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::copyEncrypted(data, size);
    return 0;
}
