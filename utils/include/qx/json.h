// JSON values.
#pragma once

#include "base/json.h"

namespace qx {

/// Appends `value`, which is taken over in any case. False when it cannot be appended, or one of
/// them is null.
bool json_array_append_value(json_t* array, json_ptr value);

} // namespace qx
