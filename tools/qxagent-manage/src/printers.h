// All output of the tool: results and usage on standard output, failures and warnings on standard
// error. No other file of the tool writes to standard error. The functions do not report write
// errors; check_standard_output() detects write errors on standard output. Main thread only, unless
// stated otherwise.
#pragma once

#include "json_writer.h"
#include "qx/string_view.h"
#include "qx_plix.h"

#include <cstddef>
#include <jansson.h>
#include <string>

namespace qx::manage {

/// Kinds of failure, which QX_ERRORS=json prints as the member "stage". `broker` marks a failure of
/// the client library; the library's own stage (qx_plix_stage) is printed in its place.
namespace stage {

inline constexpr char argument[] = "argument"; ///< the command line, the environment or the input
inline constexpr char system[] = "system";     ///< a file, a descriptor or a program
inline constexpr char memory[] = "memory";
inline constexpr char broker[] = "broker";

} // namespace stage

/// A line that says why an operation fails. The detail of the failure replaces "{}".
struct Message {
    const char* stage;
    const char* text;
};

namespace message {

inline constexpr Message errors_is_invalid{stage::argument,
                                           "QX_ERRORS: '{}' is neither text nor json nor none"};
inline constexpr Message timeout_is_invalid{
    stage::argument, "QX_TIMEOUT: '{}' is not a number of seconds up to 1000000"};
inline constexpr Message ready_fd_is_invalid{stage::argument,
                                             "QX_READY_FD: '{}' is not an open descriptor above 2"};
inline constexpr Message broker_uid_is_invalid{
    stage::argument, "QX_BROKER_UID: '{}' is neither a user id nor \"any\""};
inline constexpr Message backlog_is_invalid{
    stage::argument, "QX_LISTEN_BACKLOG: '{}' is not a number of MiB from 1 to 1048576"};
inline constexpr Message log_does_not_start{stage::system, "Cannot start qxlog"};
inline constexpr Message log_is_not_opened{stage::system, "cannot open the log: {}"};
inline constexpr Message settings_are_unreadable{stage::system, "Cannot read the settings: {}"};
inline constexpr Message settings_are_not_written{stage::system, "cannot write the settings: {}"};
inline constexpr Message switch_does_not_begin{stage::system, "cannot begin the switch: {}"};
inline constexpr Message connector_is_refused{stage::system,
                                              "refused to run the cloud connector: {}"};
inline constexpr Message connector_hangs{stage::system,
                                         "the connector did not stop and was killed"};
inline constexpr Message event_is_unknown{stage::argument, "Unknown event: {}"};
inline constexpr Message event_is_not_subscribed{stage::broker, "Failed to subscribe to event: {}"};
inline constexpr Message epoll_is_not_created{stage::system, "epoll_create1(): {}"};
inline constexpr Message signals_are_not_set_up{stage::system,
                                                "failed to set up signal handling: {}"};
inline constexpr Message descriptor_is_not_watched{stage::system, "epoll_set_fd_ro: {}"};
inline constexpr Message wait_fails{stage::system, "epoll_wait(): {}"};
inline constexpr Message events_are_unreadable{stage::broker, "failed to read qx event"};
inline constexpr Message output_is_not_written{stage::system, "standard output: {}"};
inline constexpr Message output_is_incomplete{stage::system, "standard output: write error"};
inline constexpr Message output_has_no_reader{stage::system, "standard output has no reader"};
inline constexpr Message input_is_unreadable{stage::system, "standard input: {}"};
inline constexpr Message input_is_too_long{stage::argument,
                                           "standard input: more than 1 MiB of parameters"};
inline constexpr Message parameter_is_no_pair{stage::argument, "parameter {} is not KEY=VALUE"};
inline constexpr Message parameter_has_no_key{stage::argument, "parameter {} has no key"};
inline constexpr Message parameter_is_empty{stage::argument, "Empty value not allowed for '{}'"};
inline constexpr Message parameter_is_unknown{stage::argument, "Unknown key: {}"};
inline constexpr Message router_id_is_a_mode{
    stage::argument, "Invalid router_id: \"manual\" is a mode, not a router_id"};
inline constexpr Message value_is_not_utf8{stage::argument, "the value of '{}' is not UTF-8"};
inline constexpr Message interface_is_no_pair{stage::argument, "'{}' is not NAME:TYPE"};
inline constexpr Message feature_is_no_pair{stage::argument, "'{}' is not FEATURE=STATUS"};
inline constexpr Message feature_has_no_option{stage::argument,
                                               "one of --set, --get and --list is needed"};
inline constexpr Message cloud_refuses_registration{stage::broker, "failed to register to cloud"};
inline constexpr Message features_are_not_listed{stage::broker, "Failed getting the features list"};
inline constexpr Message features_are_not_read{stage::broker, "Failed getting the features"};
inline constexpr Message features_are_not_set{stage::broker, "Failed setting the features"};
inline constexpr Message memory_is_short{stage::memory, "out of memory"};

} // namespace message

/// A failure to report to the user.
struct Failure {
    Message message{};
    string_view detail = {}; ///< replaces "{}" in the message; not copied
};

/// Returns a failure whose detail describes errno.
Failure system_failure(Message message);

/// Returns the failure as one line without a line feed.
std::string to_line(const Failure& failure);

/// Records the failure as the run's reason (reason.h) without printing it. Returns kFailure.
int note_failure(const Failure& failure);

/// Prints the failure's line on standard error and records the failure as the run's reason. For a
/// failure of stage::broker, the reason is the client library's last failure. Returns kFailure.
int print_failure(const Failure& failure);

/// Prints the failure's line without recording the failure. The operation continues.
void print_passed_over(const Failure& failure);

/// Prints why the last attempt to open the settings store failed, and records it as the run's
/// reason. Returns kFailure.
int print_unreadable_settings();

/// Returns whether QX_ERRORS is unset or has a valid value.
bool errors_setting_is_valid();

/// Sets the operation that print_notice() and print_reason() name. `operation` is not copied, so it
/// must be a constant. Call it before any other thread runs.
void speak_for(const char* operation);

/// Prints a warning in the form that QX_ERRORS selects: one line, JSON or nothing. Does not affect
/// the exit status. Safe to call from any thread.
void print_notice(string_view text);

/// If `status` is not 0, prints the run's reason in the form that QX_ERRORS selects. In text form,
/// prints nothing if an earlier line gave the reason. Call it last in a run that ends with
/// `status`.
void print_reason(int status);

/// Appends a parsed JSON document in the tool's output format: on one line, or indented by 4 spaces
/// if standard output is a terminal. If `event_name` is given, appends an event object with this
/// name and with the document as its data. Appends nothing if `value` is null. The caller keeps
/// `value`. Throws std::bad_alloc, also if memory was too short to parse `value` completely.
void append_json(OutputText& text, json_t* value, string_view event_name = {});

/// Prints a JSON document (an object or an array) on standard output. Does nothing if `text` is
/// null. If `text` is not such a document, prints only a notice.
void print_output(const char* text);

/// Prints a one-member object with `key`, or "key: value" when standard output is a terminal.
void print_bool_output(bool value, const char* key);

/// Prints `err` as a block of four lines on standard error and records the reason. The client
/// library's last call must have filled `err`.
void print_error(const qx_plix_error_t& err);

/// Prints on standard error why a schedule was refused, and records the reason. `result` and
/// `reason` come from the client library; `reason` may be null.
void print_schedule_error(int result, const char* reason);

/// Prints the usage on standard output and the last error (qx/last_error.h) on standard error, and
/// records the last error as the run's reason.
void print_usage();

/// Prints a warning as a block of two lines on standard error. Use it only where the tool's
/// interface requires this form.
void print_warning(string_view message);

} // namespace qx::manage
