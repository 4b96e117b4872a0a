#include "qx/json.h"

namespace qx {

bool json_array_append_value(json_t* array, json_ptr value) {
    return ::json_array_append_new(array, value.release()) == 0;
}

} // namespace qx
