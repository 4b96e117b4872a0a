#include "json_writer.h"

namespace qx::manage {
namespace {

constexpr unsigned char kDel = 0x7f;
constexpr unsigned char kLeadOfC1 = 0xc2;
constexpr unsigned char kAfterC1 = 0xa0;

unsigned char code_of(char character) {
    return static_cast<unsigned char>(character);
}

} // namespace

void JsonWriter::value(json_t* value) {
    switch (json_typeof(value)) {
    case JSON_OBJECT:
        return object(value);
    case JSON_ARRAY:
        return array(value);
    case JSON_STRING:
        return string({::json_string_value(value), ::json_string_length(value)});
    default:
        return scalar(value);
    }
}

void JsonWriter::event(string_view name, json_t* data) {
    open('{');
    key("event_name");
    string(name);
    key("data");
    value(data);
    close('}');
}

void JsonWriter::object(json_t* object) {
    open('{');
    for (void* at = ::json_object_iter(object); at != nullptr;
         at = ::json_object_iter_next(object, at)) {
        key(::json_object_iter_key(at));
        value(::json_object_iter_value(at));
    }
    close('}');
}

void JsonWriter::array(const json_t* array) {
    open('[');
    for (std::size_t i = 0; i < ::json_array_size(array); ++i) {
        next();
        value(::json_array_get(array, i));
    }
    close(']');
}

void JsonWriter::key(string_view name) {
    next();
    string(name);
    put(": ");
}

void JsonWriter::string(string_view content) {
    text_.push_back('"');
    const char* plain = content.begin();
    for (const char* at = plain; at != content.end(); ++at) {
        if (!is_plain(at)) {
            put({plain, static_cast<std::size_t>(at - plain)});
            // In UTF-8, the second byte of a C1 control character equals its code.
            at += code_of(*at) == kLeadOfC1 ? 1 : 0;
            escape(code_of(*at));
            plain = at + 1;
        }
    }
    put({plain, static_cast<std::size_t>(content.end() - plain)});
    text_.push_back('"');
}

bool JsonWriter::is_plain(const char* at) const {
    const unsigned char code = code_of(*at);
    if (code < kDel) {
        return code >= ' ' && code != '"' && code != '\\';
    }
    const bool is_control = code == kDel || (code == kLeadOfC1 && code_of(at[1]) < kAfterC1);
    return !(for_terminal_ && is_control);
}

void JsonWriter::escape(unsigned char code) {
    text_.push_back('\\');
    if (code == '"' || code == '\\') {
        text_.push_back(static_cast<char>(code));
    } else if (code >= '\b' && code <= '\r' && code != '\v') {
        text_.push_back("btn?fr"[code - '\b']);
    } else {
        constexpr char digits[] = "0123456789ABCDEF";
        put("u00");
        text_.push_back(digits[code >> 4U]);
        text_.push_back(digits[code & 0xfU]);
    }
}

void JsonWriter::scalar(const json_t* value) {
    char text[32];
    put({text, ::json_dumpb(value, text, sizeof text, JSON_ENCODE_ANY)});
}

void JsonWriter::open(char bracket) {
    text_.push_back(bracket);
    ++depth_;
}

void JsonWriter::close(char bracket) {
    --depth_;
    if (!is_at_start()) {
        new_line();
    }
    text_.push_back(bracket);
}

void JsonWriter::next() {
    if (!is_at_start()) {
        put(for_terminal_ ? "," : ", ");
    }
    new_line();
}

bool JsonWriter::is_at_start() const {
    const char last = text_[text_.size() - 1];
    return last == '{' || last == '[';
}

void JsonWriter::new_line() {
    if (for_terminal_) {
        put("\n");
        for (int i = 0; i < depth_; ++i) {
            put("    ");
        }
    }
}

} // namespace qx::manage
