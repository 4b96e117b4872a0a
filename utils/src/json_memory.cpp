#include "qx/json_memory.h"

#include "json_blocks.h"

#include <jansson.h>
#include <new>
#include <utility>

namespace qx {
namespace {

thread_local bool lacked_memory = false;

void* allocate(std::size_t size) {
    void* const block = detail::take_json_block(size);
    lacked_memory = lacked_memory || block == nullptr;
    return block;
}

} // namespace

void manage_json_memory() noexcept {
    json_malloc_t current = nullptr;
    ::json_get_alloc_funcs(&current, nullptr);
    if (current != allocate) {
        detail::keep_json_blocks();
        ::json_set_alloc_funcs(allocate, detail::release_json_block);
    }
}

void require_json_memory() {
    if (std::exchange(lacked_memory, false)) {
        throw std::bad_alloc();
    }
}

} // namespace qx
