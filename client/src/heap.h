// Return of freed heap memory to the system.
#pragma once

namespace qxplix {

/// Returns freed heap memory to the system. glibc would keep this memory; with other C libraries
/// the function does nothing. Call it on the event thread: glibc allocates the events from that
/// thread's heap.
void return_free_memory();

} // namespace qxplix
