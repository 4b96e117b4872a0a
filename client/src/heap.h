// Return of freed memory to the system.
#pragma once

namespace qxplix {

/// Returns the memory of freed events to the system, from the heaps of the calling thread and of
/// the process. glibc would keep this memory; other C libraries return it without a call.
void return_free_memory();

} // namespace qxplix
