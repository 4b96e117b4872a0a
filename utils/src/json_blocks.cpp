#include "json_blocks.h"

#include <cstdlib>

namespace qx::detail {

void keep_json_blocks() noexcept {}

void* take_json_block(std::size_t size) {
    return std::malloc(size);
}

void release_json_block(void* block) {
    std::free(block);
}

} // namespace qx::detail
