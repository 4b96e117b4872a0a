// JSON values in owning handles.
#pragma once

#include <jansson.h>
#include <memory>
#include <string>
#include <string_view>

namespace qx::sim {

struct JsonRelease {
    void operator()(json_t* value) const { json_decref(value); }
};

/// One reference to a JSON value.
using Json = std::unique_ptr<json_t, JsonRelease>;

/// A further reference to a value that somebody else holds.
Json share(json_t* value);

/// `value` on one line; any type of value.
std::string dump(const json_t* value);

Json json_text(std::string_view text);

/// The text of a JSON string; "" for anything else.
std::string_view text_of(const json_t* value);

/// "an object", "a text", ...: how messages name the type of `value`.
const char* type_name(const json_t* value);

} // namespace qx::sim
