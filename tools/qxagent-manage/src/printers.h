// Every way in which the tool speaks: results on standard output, failures, warnings and the
// usage's reason on standard error. Nothing else in the tool writes to standard error. Main thread
// only; no call reports a failure of its own.
#pragma once

#include "qx/string_view.h"
#include "qx_plix.h"

#include <cstddef>
#include <fmt/format.h>
#include <jansson.h>
#include <string>

namespace qx::manage {

/// The lines that say why an operation cannot be done. A line has at most one placeholder.
enum class Message {
    broker_uid_is_invalid, ///< takes the value
    log_does_not_start,
    settings_are_unreadable,   ///< takes the reason
    backlog_is_invalid,        ///< takes the value
    event_is_unknown,          ///< takes the name
    event_is_not_subscribed,   ///< takes the name
    epoll_is_not_created,      ///< takes the reason
    signals_are_not_set_up,    ///< takes the reason
    descriptor_is_not_watched, ///< takes the reason
    wait_fails,                ///< takes the reason
    events_are_unreadable,
    output_is_not_written, ///< takes the reason
    output_is_incomplete,
    input_is_unreadable, ///< takes the reason
    input_is_too_long,
    parameter_is_empty,   ///< takes the key
    parameter_is_unknown, ///< takes the key
    router_id_is_a_mode,
    cloud_refuses_registration,
    features_are_not_listed,
    features_are_not_read,
    features_are_not_set,
};

/// A failure on its way to the user.
struct Failure {
    Message message;
    std::string detail = {}; ///< fills the placeholder
};

/// A failure whose detail is the text of errno.
Failure system_failure(Message message);

/// The failure as one line, without line feed.
std::string to_line(const Failure& failure);

/// Prints the failure's line on standard error. Returns kFailure.
int report(const Failure& failure);

/// Reports the settings store's last failure to open.
int report_unreadable_settings();

/// A text of results.
using OutputText = fmt::basic_memory_buffer<char, 500>;

/// Appends a JSON document as it is printed: one line, or several indented by 4 when standard
/// output is a terminal. Appends nothing for null or for a value that cannot be serialised. The
/// caller keeps the value, and says how long the text is going to be, as far as it knows, so that
/// room for it is made once. Throws std::bad_alloc.
void append_json(OutputText& text, const json_t* value, std::size_t expected_size);

/// Prints a JSON document (an object or an array). Prints nothing for any other text, or for null.
void print_output(const char* text);

/// Prints a one-member object with `key`, or "key: value" when standard output is a terminal.
void print_bool_output(bool value, const char* key);

/// Prints the record as a block of four lines on standard error.
void print_error(const qx_plix_error_t& err);

/// Prints on standard error why a schedule was refused: the library's result, and its reason, which
/// may be null.
void print_schedule_error(int result, const char* reason);

/// Prints the usage on standard output and the last-error record on standard error.
void print_usage();

/// Prints a warning as a block of two lines on standard error.
void print_warning(qx::string_view message);

} // namespace qx::manage
