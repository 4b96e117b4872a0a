// JSON values, and the memory that jansson takes.
#pragma once

#include "base/json.h"

namespace qx {

/// Appends `value`, which is taken over in any case. False when it cannot be appended, or one of
/// them is null.
bool json_array_append_value(json_t* array, json_ptr value);

/// Has jansson take its memory from here from now on. Failed allocations are noted, thread by
/// thread: where memory is short while it parses or writes a text, jansson may go on and leave
/// characters out. The calling thread, where the C library does not do so for it, keeps some
/// released blocks to use them again. Not while other threads use jansson.
void manage_json_memory() noexcept;

/// Throws std::bad_alloc when an allocation of jansson has failed on this thread since the last
/// call: what it has parsed or written since may lack characters.
void require_json_memory();

} // namespace qx
