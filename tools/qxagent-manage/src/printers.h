// Every way in which the tool speaks: results on standard output, failures, warnings and the
// usage's reason on standard error. Nothing else in the tool writes to standard error. Main thread
// only; no call reports a failure of its own.
#pragma once

#include "json_writer.h"
#include "qx/string_view.h"
#include "qx_plix.h"

#include <cstddef>
#include <jansson.h>
#include <string>

namespace qx::manage {

/// The lines that say why an operation fails; "{}" stands for the failure's detail.
namespace message {

inline constexpr char broker_uid_is_invalid[] =
    "QX_BROKER_UID: '{}' is neither a user id nor \"any\"";
inline constexpr char log_does_not_start[] = "Cannot start qxlog";
inline constexpr char settings_are_unreadable[] = "Cannot read the settings: {}";
inline constexpr char backlog_is_invalid[] =
    "QX_LISTEN_BACKLOG: '{}' is not a number of MiB from 1 to 1048576";
inline constexpr char event_is_unknown[] = "Unknown event: {}";
inline constexpr char event_is_not_subscribed[] = "Failed to subscribe to event: {}";
inline constexpr char epoll_is_not_created[] = "epoll_create1(): {}";
inline constexpr char signals_are_not_set_up[] = "failed to set up signal handling: {}";
inline constexpr char descriptor_is_not_watched[] = "epoll_set_fd_ro: {}";
inline constexpr char wait_fails[] = "epoll_wait(): {}";
inline constexpr char events_are_unreadable[] = "failed to read qx event";
inline constexpr char output_is_not_written[] = "standard output: {}";
inline constexpr char output_is_incomplete[] = "standard output: write error";
inline constexpr char input_is_unreadable[] = "standard input: {}";
inline constexpr char input_is_too_long[] = "standard input: more than 1 MiB of parameters";
inline constexpr char parameter_is_empty[] = "Empty value not allowed for '{}'";
inline constexpr char parameter_is_unknown[] = "Unknown key: {}";
inline constexpr char router_id_is_a_mode[] =
    "Invalid router_id: \"manual\" is a mode, not a router_id";
inline constexpr char cloud_refuses_registration[] = "failed to register to cloud";
inline constexpr char features_are_not_listed[] = "Failed getting the features list";
inline constexpr char features_are_not_read[] = "Failed getting the features";
inline constexpr char features_are_not_set[] = "Failed setting the features";

} // namespace message

/// A failure on its way to the user.
struct Failure {
    const char* message = ""; ///< from the namespace `message`
    string_view detail = {};  ///< replaces "{}" in the message; its owner keeps the text
};

/// A failure whose detail is the text of errno.
Failure system_failure(const char* message);

/// The failure as one line, without line feed.
std::string to_line(const Failure& failure);

/// Prints the failure's line on standard error. Returns kFailure.
int print_failure(const Failure& failure);

/// Reports the settings store's last failure to open.
int print_unreadable_settings();

/// Appends a parsed JSON document as it is printed: one line, or several indented by 4 when
/// standard output is a terminal. With a name, appends an event object of that name with the
/// document as its data. Appends nothing for null. The caller keeps the value. Throws
/// std::bad_alloc, also when memory was too short to parse the value.
void append_json(OutputText& text, json_t* value, string_view event_name = {});

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

/// Prints a warning as a block of two lines on standard error. Only the contract asks for it.
void print_warning(string_view message);

} // namespace qx::manage
