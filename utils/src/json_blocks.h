// Allocation of blocks for JSON values: malloc, or a free list in builds for musl. Safe to call
// from any thread.
#pragma once

#include <cstddef>

namespace qx::detail {

/// Makes the calling thread keep released blocks for reuse, in builds with a free list.
void keep_json_blocks() noexcept;

/// Returns a block of at least `size` bytes from malloc, which may also be passed to free(), or
/// null if memory runs out.
void* take_json_block(std::size_t size);

/// Releases a block; null does nothing.
void release_json_block(void* block);

} // namespace qx::detail
