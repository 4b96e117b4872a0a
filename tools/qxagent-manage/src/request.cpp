#include "request.h"

#include "exit_status.h"
#include "printers.h"

#include <algorithm>
#include <utility>

namespace qx::manage {

void Request::add(const char* key, const Text& text) {
    if (!text.empty()) {
        add(key, text_value(text));
    }
}

void Request::add(const char* key, const Integer& number) {
    if (number.given()) {
        add(key, qx::json_ptr(::json_integer(number.value())));
    }
}

void Request::add(const char* key, const Boolean& truth) {
    if (truth.given()) {
        add(key, qx::json_ptr(json_boolean(truth.value())));
    }
}

void Request::add(const char* key, qx::json_ptr value) {
    if (::json_object_set_new(object_.get(), key, value.release()) != 0) {
        note_failure({message::value_is_not_utf8, key});
        is_whole_ = false;
    }
}

qx::json_ptr Request::take() {
    return is_whole_ ? std::move(object_) : nullptr;
}

int Request::send(int (*call)(const char* request)) const {
    return is_whole_ ? call(serialise(object_).get()) : kFailure;
}

qx::json_ptr text_value(qx::string_view text) {
    return qx::json_ptr(::json_stringn(text.data(), text.size()));
}

qx::json_ptr array_of_valid(const char* option, const std::vector<std::string>& texts) {
    qx::json_ptr array(::json_array());
    for (const std::string& text : texts) {
        ::json_array_append_new(array.get(), ::json_string(text.c_str()));
    }
    if (::json_array_size(array.get()) != texts.size()) {
        print_notice(fmt::format("elements of '{}' that are not UTF-8 are left out", option));
    }
    return array;
}

qx::json_ptr text_array(const char* option, const std::vector<std::string>& texts) {
    qx::json_ptr array(::json_array());
    for (const std::string& text : texts) {
        if (::json_array_append_new(array.get(), ::json_string(text.c_str())) != 0) {
            note_failure({message::value_is_not_utf8, option});
            return nullptr;
        }
    }
    return array;
}

bool set_text(const qx::json_ptr& object, const Pair& pair) {
    json_t* const value = ::json_stringn(pair.second.data(), pair.second.size());
    return ::json_object_setn_new(object.get(), pair.first.data(), pair.first.size(), value) == 0;
}

qx::text_ptr serialise(const qx::json_ptr& request) {
    return qx::text_ptr(::json_dumps(request.get(), 0));
}

} // namespace qx::manage
