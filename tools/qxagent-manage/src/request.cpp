#include "request.h"

#include <algorithm>

namespace qx::manage {

void remove_if_empty(const qx::json_ptr& request, const char* key, const std::string& value) {
    if (value.empty()) {
        ::json_object_del(request.get(), key);
    }
}

void append_texts(json_t* array, const std::vector<std::string>& texts) {
    for (const std::string& text : texts) {
        ::json_array_append_new(array, ::json_string(text.c_str()));
    }
}

qx::json_ptr text_array(const std::vector<std::string>& texts) {
    qx::json_ptr array(::json_array());
    const bool complete = std::all_of(texts.begin(), texts.end(), [&](const std::string& text) {
        return qx::json_array_append_value(array.get(), qx::json_ptr(::json_string(text.c_str())));
    });
    return complete ? std::move(array) : nullptr;
}

bool set_text(const qx::json_ptr& object, const Pair& pair) {
    json_t* const value = ::json_stringn(pair.second.data(), pair.second.size());
    return ::json_object_setn_new(object.get(), pair.first.data(), pair.first.size(), value) == 0;
}

qx::text_ptr serialise(const qx::json_ptr& request) {
    return qx::text_ptr(::json_dumps(request.get(), 0));
}

} // namespace qx::manage
