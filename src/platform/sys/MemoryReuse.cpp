#include "MemoryReuse.h"

#include <malloc.h>

namespace tb {

void keepFreedMemory()
{
    // Setting either turns off glibc's own sliding threshold, which only
    // rises after a block has already been handed back.
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
    mallopt(M_TRIM_THRESHOLD, 64 << 20);
}

void giveBackFreedMemory()
{
    malloc_trim(0);
}

}  // namespace tb
