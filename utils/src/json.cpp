#include "qx/json.h"

#include <new>
#include <utility>

namespace qx {
namespace {

thread_local bool lacked_memory = false;

void* allocate(std::size_t size) {
    void* const block = std::malloc(size);
    lacked_memory = lacked_memory || block == nullptr;
    return block;
}

} // namespace

void watch_json_memory() noexcept {
    ::json_set_alloc_funcs(allocate, std::free);
}

void require_json_memory() {
    if (std::exchange(lacked_memory, false)) {
        throw std::bad_alloc();
    }
}

bool json_array_append_value(json_t* array, json_ptr value) {
    return ::json_array_append_new(array, value.release()) == 0;
}

} // namespace qx
