// The memory of jansson's values.
//
// When memory is short, jansson may still parse or write a text, but leave characters out of it.
// The only trace is an allocation that failed, so jansson allocates through here, and whoever acts
// on a text asks whether one has failed. Blocks come from malloc and may be given to free(). An
// event takes dozens of small ones; in builds for musl, whose malloc takes a lock for each, the
// main thread keeps released blocks in a free list (musl/json_blocks.cpp).
#pragma once

namespace qx {

/// Has jansson allocate through here from now on. A program calls it first in `main`, before other
/// threads use jansson. setMgmt::init() does so for a program that has not: the settings store must
/// never be written from a text that lacks characters.
void manage_json_memory() noexcept;

/// Throws std::bad_alloc when an allocation of jansson has failed on this thread since the last
/// call: what it has parsed or written since may lack characters.
void require_json_memory();

} // namespace qx
