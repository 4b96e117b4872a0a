#include "printers.h"

#include "base/json.h"
#include "exit_status.h"
#include "qx/cl.h"
#include "qx/format.h"
#include "qx/json_memory.h"
#include "qx/last_error.h"
#include "qx/println.h"
#include "qx/scope_guard.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <unistd.h>

namespace qx::manage {
namespace {

bool output_is_terminal() {
    static const bool terminal = ::isatty(STDOUT_FILENO) == 1;
    return terminal;
}

unsigned char code_of(char character) {
    return static_cast<unsigned char>(character);
}

// Writes parsed values byte for byte as jansson does, several times as fast: jansson searches each
// value for loops and invalid UTF-8, which its parser does not produce. On a terminal the values
// are indented, and control characters that jansson leaves alone, DEL and C1, are escaped.
class JsonWriter {
public:
    explicit JsonWriter(OutputText& text)
        : text_(text) {}

    void value(json_t* value) {
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

    void event(string_view name, json_t* data) {
        open('{');
        key("event_name");
        string(name);
        key("data");
        value(data);
        close('}');
    }

private:
    static constexpr unsigned char kDel = 0x7f;
    static constexpr unsigned char kLeadOfC1 = 0xc2;

    void object(json_t* object) {
        open('{');
        for (void* at = ::json_object_iter(object); at != nullptr;
             at = ::json_object_iter_next(object, at)) {
            key(::json_object_iter_key(at));
            value(::json_object_iter_value(at));
        }
        close('}');
    }

    void array(const json_t* array) {
        open('[');
        for (std::size_t i = 0; i < ::json_array_size(array); ++i) {
            next();
            value(::json_array_get(array, i));
        }
        close(']');
    }

    void key(string_view name) {
        next();
        string(name);
        put(": ");
    }

    void string(string_view content) {
        text_.push_back('"');
        const char* plain = content.begin();
        for (const char* at = plain; at != content.end(); ++at) {
            if (!is_plain(at)) {
                put({plain, static_cast<std::size_t>(at - plain)});
                // The code of a C1 character is its second byte.
                at += code_of(*at) == kLeadOfC1 ? 1 : 0;
                escape(code_of(*at));
                plain = at + 1;
            }
        }
        put({plain, static_cast<std::size_t>(content.end() - plain)});
        text_.push_back('"');
    }

    [[nodiscard]] bool is_plain(const char* at) const {
        const unsigned char code = code_of(*at);
        if (code < kDel) {
            return code >= ' ' && code != '"' && code != '\\';
        }
        const bool is_control = code == kDel || (code == kLeadOfC1 && code_of(at[1]) < 0xa0);
        return !(on_terminal_ && is_control);
    }

    void escape(unsigned char code) {
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

    void scalar(const json_t* value) {
        char text[32];
        put({text, ::json_dumpb(value, text, sizeof text, JSON_ENCODE_ANY)});
    }

    void open(char bracket) {
        text_.push_back(bracket);
        ++depth_;
    }

    void close(char bracket) {
        --depth_;
        if (!is_at_start()) {
            new_line();
        }
        text_.push_back(bracket);
    }

    void next() {
        if (!is_at_start()) {
            put(on_terminal_ ? "," : ", ");
        }
        new_line();
    }

    [[nodiscard]] bool is_at_start() const {
        const char last = text_[text_.size() - 1];
        return last == '{' || last == '[';
    }

    void new_line() {
        if (on_terminal_) {
            put("\n");
            for (int i = 0; i < depth_; ++i) {
                put("    ");
            }
        }
    }

    void put(string_view text) { text_.append(text.begin(), text.end()); }

    OutputText& text_;
    const bool on_terminal_ = output_is_terminal();
    int depth_ = 0;
};

} // namespace

Failure system_failure(const char* message) {
    return {message, std::strerror(errno)};
}

std::string to_line(const Failure& failure) {
    return fmt::format(fmt::runtime(failure.message), failure.detail);
}

int report(const Failure& failure) {
    qx::println(stderr, failure.message, failure.detail);
    return kFailure;
}

int report_unreadable_settings() {
    return report({message::settings_are_unreadable, qx::last_error().reason});
}

void append_json(OutputText& text, json_t* value, string_view event_name) {
    qx::require_json_memory();
    if (value == nullptr) {
        return;
    }
    std::size_t end = text.size();
    // What is written when memory runs short would stand before the next line.
    const qx::scope_guard cut([&] { text.resize(end); });
    JsonWriter writer(text);
    if (event_name.empty()) {
        writer.value(value);
    } else {
        writer.event(event_name, value);
    }
    qx::require_json_memory();
    text.push_back('\n');
    end = text.size();
}

void print_output(const char* text) {
    if (text == nullptr) {
        return;
    }
    const qx::json_ptr value(::json_loads(text, 0, nullptr));
    OutputText output;
    append_json(output, value.get());
    std::fwrite(output.data(), 1, output.size(), stdout);
}

void print_bool_output(bool value, const char* key) {
    // An answer that memory was too short to read is no answer.
    qx::require_json_memory();
    qx::println(stdout, output_is_terminal() ? "{:s}: {}" : "{{\"{:s}\": {}}}", key, value);
}

void print_error(const qx_plix_error_t& err) {
    const char* const message = err.message;
    const char* const description = err.description;
    qx::println(stderr, "error:");
    qx::println(stderr, "  code:        {}", err.code);
    qx::println(stderr, "  message:     {}", message);
    qx::println(stderr, "  description: {}", description);
}

void print_schedule_error(int result, const char* reason) {
    qx::println(stderr, "error_code={} error_message={}", result, reason == nullptr ? "" : reason);
}

void print_usage() {
    qx::cl::print_help(stdout);
    std::fflush(stdout);
    const qx::error_info& last = qx::last_error();
    qx::println(stderr, "({:s}) {:s}", last.kind, last.reason);
}

void print_warning(qx::string_view message) {
    qx::println(stderr, "warning:");
    qx::println(stderr, "  message:     {}", message);
}

} // namespace qx::manage
