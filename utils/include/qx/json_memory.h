// The memory of jansson's values.
//
// If an allocation fails, jansson may still parse or write a text, but with characters missing.
// This allocator for jansson records the failure, and code that uses such a text calls
// require_json_memory() first. Blocks come from malloc and may be passed to free(). An event needs
// dozens of small blocks. musl's malloc takes a lock for each, so in builds for musl the main
// thread keeps released blocks in a free list (musl/json_blocks.cpp).
#pragma once

namespace qx {

/// Installs the allocator. A program calls this at the start of `main`, before other threads use
/// jansson; later calls do nothing. setMgmt::init() calls this too, because the settings store must
/// never be written from an incomplete text.
void manage_json_memory() noexcept;

/// Throws std::bad_alloc if an allocation of jansson has failed on this thread since the last call:
/// texts that jansson parsed or wrote since then may be incomplete. Safe to call from any thread.
void require_json_memory();

} // namespace qx
