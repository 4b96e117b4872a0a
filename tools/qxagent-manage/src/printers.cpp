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
#include "reason.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>
#include <string>
#include <string_view>
#include <unistd.h>

namespace qx::manage {
namespace {

bool output_is_terminal() {
    static const bool terminal = ::isatty(STDOUT_FILENO) == 1;
    return terminal;
}

enum class Voice { none, text, json };

struct VoiceName {
    const char* name;
    Voice voice;
};

constexpr VoiceName kVoices[] = {
    {"none", Voice::none}, {"text", Voice::text}, {"json", Voice::json}};

const char* speaker = "";

const VoiceName* find_voice(const char* wanted) {
    const auto* const found =
        std::find_if(std::begin(kVoices), std::end(kVoices), [wanted](const VoiceName& candidate) {
            return std::strcmp(candidate.name, wanted) == 0;
        });
    return found == std::end(kVoices) ? nullptr : found;
}

Voice choose_voice() {
    const char* const wanted = std::getenv("QX_ERRORS");
    if (const VoiceName* const found = wanted == nullptr ? nullptr : find_voice(wanted)) {
        return found->voice;
    }
    return ::isatty(STDERR_FILENO) == 1 ? Voice::text : Voice::none;
}

Voice voice() {
    static const Voice chosen = choose_voice();
    return chosen;
}

void note(const Failure& failure, bool is_told) {
    if (failure.message.stage == stage::broker) {
        note_library_reason(false);
    }
    fmt::basic_memory_buffer<char, sizeof(qx_plix_failure_t::message)> line;
    fmt::vformat_to(fmt::appender(line), failure.message.text,
                    fmt::make_format_args(failure.detail));
    note_reason(failure.message.stage, {line.data(), line.size()}, is_told);
}

// Returns whether `text`, which is already printed, contains the client library's reason.
bool is_told_by(const char* text) {
    qx_plix_failure_t failure;
    qx_plix_last_failure(&failure);
    return failure.stage == QX_PLIX_STAGE_REFUSED && failure.description[0] != '\0' &&
           text != nullptr &&
           std::string_view(text).find(failure.description) != std::string_view::npos;
}

// The broker's text may contain line feeds, but a reason must stay on one line.
void print_line(const char* kind, string_view text) {
    const std::string line = shown(text);
    const char* const separator = *speaker == '\0' ? "" : ": ";
    qx::println(stderr, "qxagent-manage: {}{}{}{}", speaker, separator, kind, line);
}

// Converts a text to a JSON string. If the text is not UTF-8, escapes it first.
json_t* to_json(string_view text) {
    json_t* const value = ::json_stringn(text.data(), text.size());
    return value != nullptr ? value : ::json_string(shown(text).c_str());
}

void print_record(const char* stage, int status, const qx_plix_failure_t& failure,
                  string_view message) {
    const bool has_description = failure.description[0] != '\0';
    const qx::json_ptr record(::json_pack(
        "{s:s, s:i, s:s, s:o, s:o, s:o}", "operation", speaker, "status", status & 0xff, "stage",
        stage, "code", failure.has_code != 0 ? ::json_integer(failure.code) : ::json_null(),
        "description", has_description ? to_json(failure.description) : ::json_null(), "message",
        to_json(message)));
    const qx::text_ptr line(::json_dumps(record.get(), 0));
    if (line) {
        // Use one write, because another thread may print a line at the same time.
        const std::string text = std::string(line.get()) + "\n";
        std::fwrite(text.data(), 1, text.size(), stderr);
    }
}

} // namespace

Failure system_failure(Message message) {
    return {message, std::strerror(errno)};
}

std::string to_line(const Failure& failure) {
    return fmt::format(fmt::runtime(failure.message.text), failure.detail);
}

int note_failure(const Failure& failure) {
    note(failure, false);
    return kFailure;
}

void print_passed_over(const Failure& failure) {
    qx::println(stderr, failure.message.text, failure.detail);
}

int print_failure(const Failure& failure) {
    print_passed_over(failure);
    note(failure, true);
    return kFailure;
}

bool errors_setting_is_valid() {
    const char* const wanted = std::getenv("QX_ERRORS");
    return wanted == nullptr || find_voice(wanted) != nullptr;
}

void speak_for(const char* operation) {
    speaker = operation;
}

void print_notice(string_view text) {
    switch (voice()) {
    case Voice::none:
        return;
    case Voice::text:
        print_line("warning: ", text);
        return;
    case Voice::json:
        print_record("warning", kSuccess, {}, text);
    }
}

void print_reason(int status) {
    const Reason& why = reason();
    if (status == kSuccess || why.stage == nullptr) {
        return;
    }
    if (voice() == Voice::text && !why.is_told) {
        print_line("", why.failure.message);
    } else if (voice() == Voice::json) {
        print_record(why.stage, status, why.failure, why.failure.message);
    }
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
    // If memory runs short, remove the incomplete line.
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
    if (!value) {
        print_notice("the broker's answer is neither an object nor an array and is not printed");
    }
    OutputText output;
    append_json(output, value.get());
    std::fwrite(output.data(), 1, output.size(), stdout);
}

void print_bool_output(bool value, const char* key) {
    // If memory was short, `value` may differ from the broker's reply.
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
    note_library_reason(is_told_by(description));
}

void print_schedule_error(int result, const char* reason) {
    qx::println(stderr, "error_code={} error_message={}", result, reason == nullptr ? "" : reason);
    note_library_reason(is_told_by(reason));
}

void print_usage() {
    qx::cl::print_help(stdout);
    std::fflush(stdout);
    const qx::error_info& last = qx::last_error();
    qx::println(stderr, "({:s}) {:s}", last.kind, last.reason);
    note_reason(stage::argument, last.reason, true);
}

void print_warning(qx::string_view message) {
    qx::println(stderr, "warning:");
    qx::println(stderr, "  message:     {}", message);
}

} // namespace qx::manage
