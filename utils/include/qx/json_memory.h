// An allocator for jansson that records failures.
//
// If an allocation fails, jansson may still parse or write JSON, but with characters missing. Call
// require_json_memory() before you use such a result. Blocks come from malloc and may be passed to
// free(). In builds for musl the main thread keeps released blocks in a free list
// (musl/json_blocks.cpp): an event needs dozens of small blocks, and musl's malloc takes a lock for
// each.
#pragma once

namespace qx {

/// Installs the allocator. Call this function on the main thread before any other thread uses
/// jansson; later calls do nothing. setMgmt::init() also calls it, so that incomplete JSON never
/// becomes the settings store.
void manage_json_memory() noexcept;

/// Throws std::bad_alloc if an allocation of jansson has failed on this thread since the thread
/// last called this function: results of jansson since then may be incomplete. Clears the record.
/// Safe to call from any thread.
void require_json_memory();

} // namespace qx
