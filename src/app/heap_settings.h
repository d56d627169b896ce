// How the host's heap treats the large, short-lived blocks of device replies.
//
// A `keyboards` reply for a large model is a tree of tens of thousands of
// small blocks (several megabytes) and a JSON text of over a megabyte, built
// and freed again on every refresh. With glibc's defaults the freed top of the
// heap above a few megabytes goes back to the kernel, and texts of more than
// 128 KiB get pages of their own, so each refresh page-faults the same memory
// in again: in the model bench that doubled the reply's cost.
//
// Keeping up to 32 MiB of freed heap for reuse, and serving blocks below that
// size from the heap, removes those faults. The price is that a host which
// once held a large reply keeps that much address space until it exits.
//
// Call once at start-up, before any thread starts. `main` and the model bench
// call it, so the bench measures the heap the host runs with.
#pragma once

#include <malloc.h>

namespace tessarel {

inline constexpr int kHeapKeepBytes = 32 << 20;

inline void KeepHeapForLargeReplies() noexcept {
  mallopt(M_MMAP_THRESHOLD, kHeapKeepBytes);
  mallopt(M_TRIM_THRESHOLD, kHeapKeepBytes);
}

}  // namespace tessarel
