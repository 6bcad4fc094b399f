#include "MemoryReuse.h"

#include <malloc.h>

namespace tb {

void keepFreedMemory()
{
    // Setting either turns off glibc's own sliding threshold, which only
    // rises after a block has already been handed back.
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
    mallopt(M_TRIM_THRESHOLD, 64 << 20);
    // The next sheet's copy is made on a second thread and freed on the
    // first. With an arena per thread, each would keep a sheet's worth of
    // freed blocks; with one, both reuse the same.
    mallopt(M_ARENA_MAX, 1);
}

void giveBackFreedMemory()
{
    malloc_trim(0);
}

}  // namespace tb
