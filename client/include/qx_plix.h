/*
 * Client library of the agent's broker.
 *
 * The library sends commands to the broker over a Unix socket and receives the broker's events. The
 * following rules apply to every call unless its description says otherwise:
 *
 * - A call returns 0 on success and -1 on failure. qx_plix_last_failure returns the reason.
 * - A call is safe from any thread, and also before qx_plix_init.
 * - A call opens a new connection for each command that it sends, and blocks until the broker
 *   replies. Such a call fails if the broker cannot be reached, refuses the command or sends a
 *   malformed reply, if the timeout of qx_plix_set_timeout expires, and if memory runs out.
 * - A JSON argument is a zero-terminated UTF-8 text that holds an object or an array. The library
 *   does not keep the pointer. If the text is null or malformed, the call fails and sends nothing.
 * - A JSON result is a zero-terminated text of one line, which the call stores in `*out`. Free the
 *   text with free(). Set `*out` to null before the call: if the broker sends no data, the call
 *   stores nothing. If the broker refuses the command, the text holds the broker's details. If
 *   `out` is null, the call fails and sends nothing.
 * - A broken connection to the broker raises no SIGPIPE.
 * - Only qx_plix_init and qx_plix_init2 print: at most one line, on standard error, on failure.
 */
#ifndef QX_PLIX_H
#define QX_PLIX_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

/* --- records -----------------------------------------------------------------------------------
 */

/* NOLINTBEGIN(modernize-use-using): C has no alias declarations. */

/* Describes the failure of a call that takes a pointer to this record. The caller owns the record.
 * The pointer may be null. The call writes to the record only on failure. */
typedef struct qx_plix_error_t {
    int32_t code;          /* 1 bad argument, 2 bad schema, 3 internal error, or a broker code */
    char message[64];      /* the name of `code`, or empty if the code has no name */
    char description[188]; /* the reason: zero-terminated UTF-8, truncated to fit */
} qx_plix_error_t;

/* The stage at which a call failed. */
typedef enum qx_plix_stage {
    QX_PLIX_STAGE_NONE = 0,          /* the call succeeded */
    QX_PLIX_STAGE_ARGUMENT = 1,      /* bad argument, or call not allowed now; nothing was sent */
    QX_PLIX_STAGE_NOT_RUNNING = 2,   /* no agent, no running broker, or library not started */
    QX_PLIX_STAGE_WRONG_VERSION = 3, /* the broker speaks another version of the protocol */
    QX_PLIX_STAGE_CONNECTION = 4,    /* cannot connect, or the connection broke */
    QX_PLIX_STAGE_REFUSED = 5,       /* the broker refused the command */
    QX_PLIX_STAGE_BAD_REPLY = 6,     /* the broker's reply or version file is malformed */
    QX_PLIX_STAGE_TIMED_OUT = 7,     /* the timeout of qx_plix_set_timeout expired */
    QX_PLIX_STAGE_INTERRUPTED = 8,   /* a signal handler interrupted the call */
    QX_PLIX_STAGE_MEMORY = 9,        /* out of memory */
    QX_PLIX_STAGE_LIMIT = 10         /* a limit of the library or of the system was reached */
} qx_plix_stage;

/* Describes why a call failed. qx_plix_last_failure fills the record. The size of the record is
 * fixed: new members of later versions take the place of reserved bytes. */
typedef struct qx_plix_failure_t {
    int32_t stage;         /* a qx_plix_stage */
    int32_t system_error;  /* errno, or 0 if no system call failed */
    int32_t has_code;      /* 1 if the broker sent a code, else 0 */
    int32_t code;          /* the broker's code, or 0 */
    char description[256]; /* the broker's reason: zero-terminated UTF-8, truncated, or empty */
    char message[512];     /* the failure as one English sentence: zero-terminated UTF-8 */
    char reserved[240];    /* zero */
} qx_plix_failure_t;

/* The types of events. The values never change. */
typedef enum qx_plix_event_type {
    QX_PLIX_DEVICE_DISCOVERY = 0,
    QX_PLIX_SUBSCRIPTION_CHANGED = 1,
    QX_PLIX_CLOUD_REGISTRATION_STATUS = 2,
    QX_PLIX_DEVICES_LIST_UPDATED = 3,
    QX_PLIX_QXAGENT_STARTED = 4,
    QX_PLIX_VA_STATUS_CHANGED = 5,
    QX_PLIX_SET_DEVICE_ONLINE_STATUS_RESULT = 6,
    QX_PLIX_EVENT_UNKNOWN = 7 /* not an event: stands for an unknown name */
} qx_plix_event_type;

/* Receives one event of a subscription. `event_json` is the broker's JSON text, valid only during
 * the call. `user_data` is the pointer that was passed to qx_plix_subscribe. Must not throw. Runs
 * on the library's event thread or on the thread that reads the events. The section "callbacks,
 * fork and signals" lists the library calls that the callback must not make. */
typedef void (*qx_plix_event_cb)(const char* event_json, void* user_data);

/* Receives a warning. `text` is one line of English without a line feed, valid only during the
 * call. `user_data` is the pointer that was passed to qx_plix_set_warning_cb. Must neither throw
 * nor call the library. Runs on the thread that detects the condition: a thread that calls the
 * library, or the library's event thread. */
typedef void (*qx_plix_warning_cb)(const char* text, void* user_data);

/* Receives a change of the connection to the broker. `connected` is 0 when a subscription has lost
 * its connection, and 1 when all subscriptions are connected again. `missed_ms` is the length of
 * the interruption in milliseconds, or 0 if `connected` is 0. `user_data` is the pointer that was
 * passed to qx_plix_set_connection_cb. Must neither throw nor call the library. Runs on the
 * library's event thread. */
typedef void (*qx_plix_connection_cb)(int connected, int64_t missed_ms, void* user_data);

/* NOLINTEND(modernize-use-using) */

/* --- start and stop ----------------------------------------------------------------------------
 */

/* 0 while the event thread should run; 1 before qx_plix_init and after qx_plix_uninit. A program
 * may set `stopped` to 1 from any thread. The event thread then ends within a second, or when a
 * running callback returns. The program must still call qx_plix_uninit. */
extern int stopped;

/* Starts the library: finds the agent's install directory, checks that a broker of this protocol
 * version runs, and starts the event thread. Fails if no install directory exists, if no such
 * broker runs, if the library is started already, and inside an event callback. Not thread-safe:
 * call qx_plix_init, qx_plix_init2 and qx_plix_uninit from a single thread. */
int qx_plix_init(void);

/* Starts the library like qx_plix_init, for an agent in the directory `install_path`: a
 * zero-terminated path, which the library copies. Also fails if `install_path` is null. */
int qx_plix_init2(const char* install_path);

/* Stops the library: ends all subscriptions and the event thread. Waits for a running callback, but
 * never for the broker. Fails only inside an event callback; does nothing if the library is not
 * started. No other call may run at the same time. */
int qx_plix_uninit(void);

/* Sets the user that the broker must run as. `uid` is a user id or one of the constants below.
 * Fails if `uid` is neither. The setting applies to connections that are opened later.
 *
 * The broker's socket has no file and therefore no owner: any user can listen on the socket's name
 * while the broker is down. The library therefore checks the user of every peer before it sends
 * anything. If that user is not accepted, the connection fails, and the library reports a warning
 * with the process id and the user id.
 *
 * By default the library accepts root, the effective user of the calling process, the owners of the
 * version file and of the install directory, and the user "norvane-plix" of /etc/passwd. In a user
 * namespace the kernel reports every unmapped user as 65534. The library accepts this id only if it
 * equals `uid` or the effective user id of the process. */
enum {
    QX_PLIX_BROKER_UID_ANY = -1,    /* any user */
    QX_PLIX_BROKER_UID_DEFAULT = -2 /* the default users */
};
int qx_plix_require_broker_uid(int64_t uid);

/* Installs the callback for warnings, which report conditions that no return value can report. A
 * null `callback`, the initial value, disables warnings. The library passes `user_data` to the
 * callback and never frees it. Another thread that is reporting a warning may still run the
 * previous callback after this call has returned. */
void qx_plix_set_warning_cb(qx_plix_warning_cb callback, void* user_data);

/* Installs the callback for changes of the connection to the broker. The library runs it when the
 * first subscription loses its connection, and again when all subscriptions are reconnected. Events
 * that the broker sends in between are lost. A null `callback`, the initial value, disables the
 * notification. The library passes `user_data` to the callback and never frees it. The event thread
 * may still run the previous callback after this call has returned. */
void qx_plix_set_connection_cb(qx_plix_connection_cb callback, void* user_data);

/* Sets the timeout for calls that wait for the broker's reply. `milliseconds` is measured by the
 * monotonic clock; 0, the initial value, means no timeout. The timeout limits a whole call, from
 * connecting to the last byte of the last reply. It also limits the test connection of
 * qx_plix_init. When the timeout expires, the call fails. Only qx_plix_get_router_info still
 * succeeds, but leaves out the members that it has not received. The setting applies to calls that
 * begin later. */
void qx_plix_set_timeout(uint64_t milliseconds);

/* Stores in `*failure` why the last call on this thread failed. All members are 0 if that call
 * succeeded or if there was none. Ignores calls that cannot report failure, and calls of
 * qx_plix_last_failure itself. Fails if `failure` is null. */
int qx_plix_last_failure(qx_plix_failure_t* failure);

/* --- callbacks, fork and signals ---------------------------------------------------------------
 */

/* The event callback of a subscription without a descriptor runs on the library's event thread. The
 * callback of a subscription with a descriptor runs on the thread that calls qx_plix_read_event_fd
 * or qx_plix_read_events. The library runs one event callback at a time and holds the lock on all
 * subscriptions during the callback. Until the callback returns, other threads that subscribe,
 * unsubscribe or read events wait. The stack of the event thread has the platform's default size,
 * but at least 1 MiB.
 *
 * An event callback must not call qx_plix_init, qx_plix_init2, qx_plix_uninit, qx_plix_subscribe,
 * qx_plix_read_event_fd or qx_plix_read_events: inside the callback, these return -1 and do nothing
 * else. Every other call is allowed. qx_plix_unsubscribe takes effect when the callback returns.
 *
 * In a forked child the library is not started: calls behave as before qx_plix_init, `stopped` is
 * 1, and the child cannot affect the parent. Both qx_plix_init and qx_plix_uninit close the child's
 * copies of the parent's descriptors; qx_plix_init also starts the library in the child. A child
 * that a callback forks is still inside the callback until the callback returns, and receives no
 * further events.
 *
 * The event thread blocks all signals. A program that a callback starts on the event thread
 * inherits this signal mask. If a signal handler runs on a thread that waits in
 * qx_plix_read_event_fd, the call fails. A call that waits for the broker's reply also fails then,
 * unless the handler was installed with SA_RESTART or a timeout is set with qx_plix_set_timeout. */

/* --- events ------------------------------------------------------------------------------------
 */

/* Returns the event type with the given name, or QX_PLIX_EVENT_UNKNOWN if `name` is null or
 * unknown. `name` is zero-terminated and case-sensitive, such as "QX_PLIX_DEVICE_DISCOVERY". */
qx_plix_event_type qx_plix_event_type_from_str(const char* name);

/* Returns the name of an event type, or null if `type` is not an event type. The name is a
 * zero-terminated constant; do not free it. */
const char* qx_plix_event_type_to_str(qx_plix_event_type type);

/* Subscribes to the events of one type. `callback`, which must not be null, receives each event
 * together with `user_data`, which may be null. If `event_fd` is null, the callback runs on the
 * library's event thread. Otherwise the call stores a descriptor in `*event_fd`. The descriptor is
 * readable while events wait: pass it to qx_plix_read_event_fd or qx_plix_read_events, which run
 * the callback. The library owns the descriptor and closes it when the subscription ends. The
 * descriptor is valid only if the call succeeds.
 *
 * The call blocks until the broker replies, and fails under the same conditions as a command. It
 * also fails before qx_plix_init, inside an event callback, for an invalid argument, and if eight
 * subscriptions exist already. The subscription survives a restart of the broker, but loses the
 * events that the broker sends before the library has subscribed again. */
int qx_plix_subscribe(qx_plix_event_type type, qx_plix_event_cb callback, void* user_data,
                      int* event_fd);

/* Ends one subscription to `type`, or does nothing if there is none. Waits for a running event
 * callback, but never for the broker. After the call has returned, the library no longer runs the
 * callback of the subscription. Inside an event callback the subscription ends when that callback
 * returns. */
void qx_plix_unsubscribe(qx_plix_event_type type);

/* Waits until `event_fd` is readable, then runs the subscription's callback on this thread: once,
 * for the oldest event, if `drain` is 0, else for all waiting events. Fails before qx_plix_init,
 * inside an event callback, if the descriptor belongs to no subscription, if the subscription ends
 * during the wait, and if a signal handler interrupts the wait. The wait is a cancellation point.
 * No other call of the library is one. */
int qx_plix_read_event_fd(int event_fd, int drain);

/* Runs the subscription's callback on this thread for the oldest waiting events, until their texts
 * total at least `most` bytes or no event waits. Does not wait for events. `event_fd` stays
 * readable while more events wait. Fails before qx_plix_init, inside an event callback, and if the
 * descriptor belongs to no subscription. */
int qx_plix_read_events(int event_fd, uint64_t most);

/* Limits the backlog: the events that wait in this process, incomplete events included. `bytes` is
 * the limit on their memory. The default is 32 MiB, or an eighth of the machine's memory if that is
 * less. A single event may exceed the limit. Fails if `bytes` is 0.
 *
 * Above the limit the library applies back-pressure: it stops reading from the broker until the
 * backlog falls to half of the limit. It reports a warning when reading stops, and another one
 * after reading has resumed. If incomplete events alone reach the limit, the library receives these
 * events one at a time. If the current event makes no progress for five seconds, the library
 * closes the connection of that event's subscription and subscribes again. */
int qx_plix_set_backlog_limit(uint64_t bytes);

/* --- any command -------------------------------------------------------------------------------
 */

/* Sends any broker command. `name` is the command's name, zero-terminated UTF-8, neither null nor
 * empty. `data_json` is the command's data, a JSON text of any type. If `data_json` is null, the
 * call sends the JSON value null. The broker's data is stored in `*out`; `out` may be null. If
 * `name` or `data_json` is invalid, the call fails and sends nothing. */
int qx_plix_call(const char* name, const char* data_json, char** out);

/* --- services ----------------------------------------------------------------------------------
 */

/* Turn the agent's services on or off. */
int qx_plix_enable(void);
int qx_plix_disable(void);

/* Turn the router protection on or off. */
int qx_plix_enable_routerprotection(void);
int qx_plix_disable_routerprotection(void);

/* Turn the pro features on or off. */
int qx_plix_pro_features_enable(void);
int qx_plix_pro_features_disable(void);

/* Makes the agent reapply its firewall rules. */
int qx_plix_reapply_firewall_rules(void);

/* Store in `*status` whether the agent's services, or the router protection, are on: 1 for on, 0
 * for off. Any other number from the broker is stored unchanged, except -1, for which the call
 * fails. `status` must not be null. On failure `*status` is unchanged. */
int qx_plix_is_enabled(int* status);
int qx_plix_is_routerprotection_enabled(int* status);

/* Store in `*out` the versions of the agent and the broker, the diagnosis report, or the status
 * report. The text is the broker's JSON value. */
int qx_plix_get_version_info(char** out);
int qx_plix_get_diagnosis_report(char** out);
int qx_plix_get_status_report(char** out);

/* --- registration and subscription -------------------------------------------------------------
 */

/* Registers the router in the cloud with a partner token. `token`, `mac` (the router's MAC address)
 * and `redeem_code` are zero-terminated UTF-8 strings. `token` and `mac` must not be null. If
 * `redeem_code` is null, the library sends the MAC address as the redeem code. Before qx_plix_init,
 * and for an invalid argument, the call fails and sends nothing. */
int qx_plix_register_to_cloud(const char* token, const char* mac, const char* redeem_code);

/* Registers the router with the values of the object `registration_info_json`. On failure the call
 * fills `*err`, unless `err` is null, with the code and description of the broker or of the
 * library. */
int qx_plix_register(const char* registration_info_json, qx_plix_error_t* err);

/* Store in `*out` the status of the router's subscription.
 * qx_plix_update_subscription_status also makes the agent try to refresh the status. */
int qx_plix_get_subscription_status(char** out);
int qx_plix_update_subscription_status(char** out);

/* --- router and devices ------------------------------------------------------------------------
 */

/* Sets properties of the router. `router_info_json` is an object with any of the members "name",
 * "model", "serial_number", "firmware_version", "feature_set_level", "interfaces" and
 * "use_va_cloud_trigger". The call sends one command per member, in this order, with the member's
 * value unchanged. If a command fails, the call still sends the other commands and returns -1. */
int qx_plix_set_router_info(const char* router_info_json);

/* Stores in `*out` an object with the members that qx_plix_set_router_info sets. If the broker does
 * not supply some members, the call leaves them out, reports a warning that names them, and still
 * succeeds. */
int qx_plix_get_router_info(char** out);

/* Stores in `*out` the devices that a filter selects. The broker defines the form of `filter_json`.
 * If `filter_json` is null, the call selects all devices. */
int qx_plix_get_devices(const char* filter_json, char** out);

/* Changes one device. `device_info_json` is an object with "device_id" and with "name",
 * "traffic_blocked" or both. The call sends one command for "name" and one for "traffic_blocked".
 * If the first command fails, the call still sends the second one and returns -1. Without
 * "device_id" the call fails and sends nothing. */
int qx_plix_set_device_info(const char* device_info_json);

/* Reports that devices came online or went offline. `online_status_json` is one object per device:
 * a single object, or an array of objects. Each object has the strings "mac" and "interface" and
 * the boolean "is_online". If "is_online" is true, the object also has "ip", a string or an array.
 * If any object is invalid, the call fails and sends nothing. */
int qx_plix_set_device_online_status(const char* online_status_json);

/* Removes a satellite. `satellite_json` is an object with the string "mac". If the broker refuses
 * with an error code, the call returns that code instead of -1. */
int qx_plix_remove_satellite(const char* satellite_json);

/* --- vulnerability scans -----------------------------------------------------------------------
 */

/* Start or stop a vulnerability scan of the network, or start a scan of the router itself. The
 * calls do not wait for the end of the scan. */
int qx_plix_va_start(void);
int qx_plix_va_stop(void);
int qx_plix_va_self_scan_start(void);

/* Stores in `*status` whether a scan runs, with the same rules as qx_plix_is_enabled. */
int qx_plix_va_status(int* status);

/* Sets when scans run. The broker defines the form of the object `schedule_json`. On failure the
 * call stores the reason in `*err_text`; on success it stores the broker's data, if any. The caller
 * frees the zero-terminated text with free(). `err_text` may be null. */
int qx_plix_va_set_schedule(const char* schedule_json, char** err_text);

/* Set or get the MAC address patterns of the devices that scans skip. `exclusions_json` must be an
 * array. On failure the call stores the reason in `*err`, unless `err` is null, and leaves `*out`
 * unchanged. */
int qx_plix_va_set_exclusions(const char* exclusions_json, qx_plix_error_t* err);
int qx_plix_va_get_exclusions(char** out, qx_plix_error_t* err);

/* --- features ----------------------------------------------------------------------------------
 */

/* Stores in `*out` the names of the agent's features. */
int qx_plix_get_features_list(char** out);

/* Stores in `*out` the status of the features that `query_json` selects. The broker defines the
 * form of `query_json`. */
int qx_plix_get_feature(const char* query_json, char** out);

/* Changes the status of features. `settings_json` holds the new status of each feature; the broker
 * defines its form. Stores the data of the broker's reply in `*out`. */
int qx_plix_set_feature(const char* settings_json, char** out);

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif
#ifdef __cplusplus
}
#endif

#endif
