#include "heap.h"

#include <cstdlib>
#include <malloc.h>

namespace qxplix {

void return_free_memory() {
#if defined(__GLIBC__)
    // The event thread allocates events, and their readers free them. glibc returns the unused end
    // of a thread's heap only when that thread frees a large block, and the rest only on request.
    constexpr std::size_t kLargeBlock = std::size_t{100} * 1024;
    void* volatile large = std::malloc(kLargeBlock);
    std::free(large);
    ::malloc_trim(0);
#endif
}

} // namespace qxplix
