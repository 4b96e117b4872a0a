// Allocation of blocks for JSON values: malloc, or a free list in builds for musl. Safe to call
// from any thread.
#pragma once

#include <cstddef>

namespace qx::detail {

/// Makes the calling thread keep a free list of the blocks that it releases. Does nothing in builds
/// without free lists.
void keep_json_blocks() noexcept;

/// Returns a block of at least `size` bytes, or null if memory runs out. The caller releases the
/// block with release_json_block() or free().
void* take_json_block(std::size_t size);

/// Releases `block`, which comes from take_json_block() or malloc; null does nothing. A thread
/// may release blocks that another thread took.
void release_json_block(void* block);

} // namespace qx::detail
