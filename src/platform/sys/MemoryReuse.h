#pragma once
// A split run frees buffers the size of a sheet and allocates them again for
// the next sheet. By default the C library hands such buffers back to the
// system at once, and each copy then faults its memory in anew, page by page:
// a fifth of a run's time on large .xls workbooks. Kept for reuse instead,
// the peak is the same and the faults go.

namespace tb {

// Keeps freed blocks of up to 32 MiB, and up to 64 MiB free at the top of the
// heap, for the next allocation, in one pool for every thread. Called once,
// at start, before any thread is started.
void keepFreedMemory();

// Gives back to the system what is kept free; for when a run is over.
void giveBackFreedMemory();

}  // namespace tb
