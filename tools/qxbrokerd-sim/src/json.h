// Ownership of JSON values, and helpers.
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

/// Returns a new reference to `value`, or null if `value` is null.
Json share(json_t* value);

/// Returns `value`, of any type, as JSON text on one line.
std::string dump(const json_t* value);

/// Returns `text` as a JSON string, or null if `text` is not UTF-8.
Json json_text(std::string_view text);

/// Returns the text of a JSON string as a view into `value`, or "" for any other value.
std::string_view text_of(const json_t* value);

/// Returns the name of the type of `value` in messages, such as "an object" or "a string".
const char* type_name(const json_t* value);

} // namespace qx::sim
