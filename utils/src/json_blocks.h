// Where the blocks of JSON values come from: malloc, or a free list in builds for musl.
#pragma once

#include <cstddef>

namespace qx::detail {

/// Has the calling thread keep released blocks for reuse, where that pays.
void keep_json_blocks() noexcept;

/// A block of malloc, which free() accepts too; null when memory is short.
void* take_json_block(std::size_t size);

/// Accepts null.
void release_json_block(void* block);

} // namespace qx::detail
