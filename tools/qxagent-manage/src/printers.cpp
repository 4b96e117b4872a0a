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

} // namespace

Failure system_failure(const char* message) {
    return {message, std::strerror(errno)};
}

std::string to_line(const Failure& failure) {
    return fmt::format(fmt::runtime(failure.message), failure.detail);
}

int print_failure(const Failure& failure) {
    qx::println(stderr, failure.message, failure.detail);
    return kFailure;
}

int print_unreadable_settings() {
    return print_failure({message::settings_are_unreadable, qx::last_error().reason});
}

void append_json(OutputText& text, json_t* value, string_view event_name) {
    qx::require_json_memory();
    if (value == nullptr) {
        return;
    }
    std::size_t end = text.size();
    // What is written when memory runs short would stand before the next line.
    const qx::scope_guard cut([&] { text.resize(end); });
    JsonWriter writer(text, output_is_terminal());
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
