// Memory that the process has freed but keeps.
#pragma once

namespace qxplix {

/// Returns to the system what freed events have left in the heaps of the calling thread and of the
/// process. glibc keeps it otherwise; other C libraries return it by themselves.
void return_free_memory();

} // namespace qxplix
