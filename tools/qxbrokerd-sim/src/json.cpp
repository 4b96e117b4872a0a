#include "json.h"

namespace qx::sim {

Json share(json_t* value) {
    return Json(json_incref(value));
}

std::string dump(const json_t* value) {
    std::string text;
    const auto append = [](const char* bytes, std::size_t size, void* out) {
        static_cast<std::string*>(out)->append(bytes, size);
        return 0;
    };
    json_dump_callback(value, append, &text, JSON_ENCODE_ANY);
    return text;
}

Json json_text(std::string_view text) {
    return Json(json_stringn(text.data(), text.size()));
}

std::string_view text_of(const json_t* value) {
    if (!json_is_string(value)) {
        return {};
    }
    return {json_string_value(value), json_string_length(value)};
}

const char* type_name(const json_t* value) {
    switch (json_typeof(value)) {
    case JSON_OBJECT:
        return "an object";
    case JSON_ARRAY:
        return "an array";
    case JSON_STRING:
        return "a string";
    case JSON_INTEGER:
        return "an integer";
    case JSON_REAL:
        return "a real number";
    case JSON_TRUE:
    case JSON_FALSE:
        return "a boolean";
    case JSON_NULL:
        break;
    }
    return "null";
}

} // namespace qx::sim
