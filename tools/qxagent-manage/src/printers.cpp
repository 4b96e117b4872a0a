#include "printers.h"

#include "base/json.h"
#include "exit_status.h"
#include "qx/cl.h"
#include "qx/escape.h"
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

constexpr std::size_t kIndent = 4;

bool output_is_terminal() {
    static const bool terminal = ::isatty(STDOUT_FILENO) == 1;
    return terminal;
}

// Called out of jansson, so nothing may be thrown.
int append(const char* text, std::size_t size, void* data) noexcept try {
    OutputText& line = *static_cast<OutputText*>(data);
    line.append(text, text + size);
    return 0;
} catch (const std::bad_alloc&) {
    return -1;
}

// jansson escapes neither DEL nor the C1 control characters.
void show_on_terminal(OutputText& text, std::size_t from) {
    if (output_is_terminal()) {
        const std::string safe = qx::shown_json({text.data() + from, text.size() - from});
        text.resize(from);
        text.append(safe.data(), safe.data() + safe.size());
    }
}

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

void append_json(OutputText& text, const json_t* value, std::size_t expected_size) {
    const std::size_t layout = output_is_terminal() ? JSON_INDENT(kIndent) : 0;
    const std::size_t before = text.size();
    bool whole = false;
    // Also when memory is short: what is left here would stand before the next line.
    const qx::scope_guard cut([&] { text.resize(whole ? text.size() : before); });
    text.reserve(before + expected_size + 1);
    const int result = ::json_dump_callback(value, append, &text, layout);
    qx::require_json_memory();
    if (result == 0) {
        show_on_terminal(text, before);
        text.push_back('\n');
        whole = true;
    }
}

void print_output(const char* text) {
    if (text == nullptr) {
        return;
    }
    const qx::json_ptr value(::json_loads(text, 0, nullptr));
    qx::require_json_memory();
    if (value) {
        OutputText output;
        append_json(output, value.get(), std::strlen(text));
        std::fwrite(output.data(), 1, output.size(), stdout);
    }
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
