// Operations on JSON values. jansson does not lock: threads must not share an array or a value.
#pragma once

#include "base/json.h"

namespace qx {

/// Appends `value` to `array`, which the caller keeps. Takes ownership of `value`, even on failure.
/// Returns false if `array` or `value` is null, `array` is not an array, or memory runs out.
bool json_array_append_value(json_t* array, json_ptr value);

} // namespace qx
