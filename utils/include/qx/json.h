// Ownership of jansson's values and texts.
#pragma once

#include <cstdlib>
#include <jansson.h>
#include <memory>

namespace qx {

/// Releases what jansson handed out.
template <typename T>
struct PtrDeleter;

template <>
struct PtrDeleter<json_t> {
    void operator()(json_t* value) const { ::json_decref(value); }
};

template <>
struct PtrDeleter<char> {
    void operator()(char* text) const { std::free(text); }
};

using json_ptr = std::unique_ptr<json_t, PtrDeleter<json_t>>;
using text_ptr = std::unique_ptr<char, PtrDeleter<char>>;

/// Appends `value`, which is taken over in any case. False when it cannot be appended, or one of
/// them is null.
bool json_array_append_value(json_t* array, json_ptr value);

} // namespace qx
