/*
 * Client library of the agent's broker.
 *
 * The library sends commands to the broker over a Unix socket and receives the broker's events. The
 * following holds for every call unless its description says otherwise:
 *
 * - A call returns 0 on success and -1 on failure. qx_plix_last_failure tells why it failed.
 * - A call may be made from any thread, and also before qx_plix_init.
 * - A command opens its own connection. It blocks until the broker replies or until the timeout of
 *   qx_plix_set_timeout expires.
 * - A JSON argument is a zero-terminated UTF-8 text that holds an object or an array. The library
 *   does not keep the pointer. For a null or malformed text the call fails and sends nothing.
 * - A JSON result is a zero-terminated text of one line, which the call stores through `out`; free
 *   it with free(). Set the pointer to null before the call: if the broker sends no data, nothing
 *   is stored. If the broker refuses the command, the text holds the broker's details. For a null
 *   `out` the call fails and sends nothing.
 * - No call raises SIGPIPE.
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

/* NOLINTBEGIN(modernize-use-using): C has no other way. */

/* Describes the failure of a call that takes a pointer to this record. The caller owns the record,
 * and the pointer may be null. The call fills the record only when it fails. */
typedef struct qx_plix_error_t {
    int32_t code;          /* 1 bad argument, 2 bad JSON schema, 3 internal, or the broker's own */
    char message[64];      /* the name of `code`; empty for a code without a name */
    char description[188]; /* the reason: zero-terminated UTF-8, cut to fit */
} qx_plix_error_t;

/* The stage at which a call failed. */
typedef enum qx_plix_stage {
    QX_PLIX_STAGE_NONE = 0,        /* the call succeeded */
    QX_PLIX_STAGE_ARGUMENT = 1,    /* an argument is invalid; nothing was sent */
    QX_PLIX_STAGE_NOT_RUNNING = 2, /* no agent, no running broker, or the library is not started */
    QX_PLIX_STAGE_WRONG_VERSION = 3, /* the broker speaks another version of the protocol */
    QX_PLIX_STAGE_CONNECTION = 4,    /* no connection, or the broker closed it */
    QX_PLIX_STAGE_REFUSED = 5,       /* the broker refused the command */
    QX_PLIX_STAGE_BAD_REPLY = 6,     /* the reply cannot be understood */
    QX_PLIX_STAGE_TIMED_OUT = 7,     /* the timeout of qx_plix_set_timeout expired */
    QX_PLIX_STAGE_INTERRUPTED = 8,   /* a signal handler interrupted the call */
    QX_PLIX_STAGE_MEMORY = 9,        /* out of memory */
    QX_PLIX_STAGE_LIMIT = 10         /* a limit of the library or of the system was reached */
} qx_plix_stage;

/* Describes why a call failed; filled by qx_plix_last_failure. The size of the record is fixed:
 * later versions of the library use the reserved bytes. */
typedef struct qx_plix_failure_t {
    int32_t stage;         /* a qx_plix_stage */
    int32_t system_error;  /* errno, or 0 when no system call failed */
    int32_t has_code;      /* 1 when the broker sent a code, else 0 */
    int32_t code;          /* the broker's code, or 0 */
    char description[256]; /* the broker's reason: zero-terminated UTF-8, cut to fit, or empty */
    char message[512];     /* the failure as one English sentence: zero-terminated UTF-8 */
    char reserved[240];    /* zero */
} qx_plix_failure_t;

/* The types of events. The numbers never change. */
typedef enum qx_plix_event_type {
    QX_PLIX_DEVICE_DISCOVERY = 0,
    QX_PLIX_SUBSCRIPTION_CHANGED = 1,
    QX_PLIX_CLOUD_REGISTRATION_STATUS = 2,
    QX_PLIX_DEVICES_LIST_UPDATED = 3,
    QX_PLIX_QXAGENT_STARTED = 4,
    QX_PLIX_VA_STATUS_CHANGED = 5,
    QX_PLIX_SET_DEVICE_ONLINE_STATUS_RESULT = 6,
    QX_PLIX_EVENT_UNKNOWN = 7 /* not an event: the result for an unknown name */
} qx_plix_event_type;

/* Receives one event of a subscription. `event_json` is the broker's JSON text and is valid only
 * during the call; `user_data` is the pointer that was given to qx_plix_subscribe. Runs on the
 * library's event thread or on the thread that reads events. Must not throw. The section on
 * callbacks lists the calls that are allowed inside. */
typedef void (*qx_plix_event_cb)(const char* event_json, void* user_data);

/* Receives a warning. `text` is one line of English without a line feed and is valid only during
 * the call; `user_data` is the pointer that was given to qx_plix_set_warning_cb. Runs on the thread
 * that detects the condition: a calling thread or the library's event thread. Must neither throw
 * nor call the library. */
typedef void (*qx_plix_warning_cb)(const char* text, void* user_data);

/* Receives a change of the connection to the broker. `connected` is 0 when subscriptions have lost
 * the broker and 1 when all of them are connected again. `missed_ms` is the length of the
 * interruption in milliseconds, or 0 for a loss. `user_data` is the pointer that was given to
 * qx_plix_set_connection_cb. Runs on the library's event thread. Must neither throw nor call the
 * library. */
typedef void (*qx_plix_connection_cb)(int connected, int64_t missed_ms, void* user_data);

/* NOLINTEND(modernize-use-using) */

/* --- start and stop ----------------------------------------------------------------------------
 */

/* Is 0 while the event thread should run, and 1 before qx_plix_init and after qx_plix_uninit. A
 * program may set it to 1: the event thread then ends within a second. qx_plix_uninit must still be
 * called. */
extern int stopped;

/* Starts the library: finds the agent's install directory, checks that a broker of this protocol
 * version runs, and starts the event thread, which blocks all signals. Fails if there is no install
 * directory or no such broker, if the library is started already, and inside a callback. Call
 * qx_plix_init, qx_plix_init2 and qx_plix_uninit from one thread only. */
int qx_plix_init(void);

/* Does the same as qx_plix_init for an agent in the directory `install_path`. The library copies
 * the text. Fails also for a null `install_path`. */
int qx_plix_init2(const char* install_path);

/* Stops the library: ends every subscription and the event thread. Waits only for a running
 * callback. Returns 0, also if the library is not started, and -1 inside a callback. No other call
 * may run at the same time. */
int qx_plix_uninit(void);

/* Sets which user's process the library accepts as the broker. `uid` is a user id or one of the two
 * constants. The setting applies to connections that are opened later. Fails if `uid` is not a user
 * id.
 *
 * The broker's socket has no file and therefore no owner: any user can listen on it while the
 * broker is down. The library therefore checks the peer of every connection before it sends
 * anything. A broker of another user is treated like one that accepts no connections, and the
 * library reports a warning with the process id and the user id.
 *
 * By default the library accepts root, the effective user of the calling process, the owners of the
 * version file and of the install directory, and the user "norvane-plix" of /etc/passwd. In a user
 * namespace the kernel shows every unmapped user as 65534; the library accepts that id only if it
 * is the process's own or the required one. */
enum {
    QX_PLIX_BROKER_UID_ANY = -1,    /* any user */
    QX_PLIX_BROKER_UID_DEFAULT = -2 /* the default users */
};
int qx_plix_require_broker_uid(int64_t uid);

/* Installs the callback for warnings, which report conditions that no return value can report. A
 * null `callback`, the initial value, disables warnings. `user_data` is passed to every call of the
 * callback. A warning that another thread is reporting during this call may still reach the
 * previous callback. */
void qx_plix_set_warning_cb(qx_plix_warning_cb callback, void* user_data);

/* Installs the callback for the connection to the broker. It is called when the first subscription
 * loses the broker, and again when all subscriptions are connected again. Events that the broker
 * sends in between are lost. A null `callback`, the initial value, disables the notification.
 * `user_data` is passed to every call. */
void qx_plix_set_connection_cb(qx_plix_connection_cb callback, void* user_data);

/* Sets the timeout in milliseconds; 0, the initial value, means none. The timeout covers each
 * command and each qx_plix_subscribe as a whole, from connecting to the last byte of the reply. It
 * also covers the connection that qx_plix_init opens as a probe. A call that exceeds the timeout
 * fails, except qx_plix_get_router_info, which leaves out the missing members. The monotonic clock
 * measures the time. The setting applies to calls that begin later. */
void qx_plix_set_timeout(uint64_t milliseconds);

/* Stores in `failure` why the last call on this thread failed. All members are 0 if that call
 * succeeded or if there was none. Only calls that report failure in their result count, and
 * qx_plix_last_failure itself does not. Returns -1 if `failure` is null. */
int qx_plix_last_failure(qx_plix_failure_t* failure);

/* --- callbacks, fork and signals ---------------------------------------------------------------
 */

/* An event callback runs on the library's event thread. If the subscription has a descriptor, it
 * runs on the thread that calls qx_plix_read_event_fd or qx_plix_read_events instead. Callbacks run
 * one at a time and hold the lock on all subscriptions: until the callback returns, no other event
 * is delivered, and other threads that subscribe, unsubscribe or read events wait. The stack of the
 * event thread has the platform's default size, but at least 1 MiB.
 *
 * Inside an event callback every command is allowed, and so is qx_plix_unsubscribe, which takes
 * effect when the callback returns. qx_plix_init, qx_plix_subscribe, qx_plix_read_event_fd,
 * qx_plix_read_events and qx_plix_uninit return -1 there and do nothing else.
 *
 * In a forked child the library is not started: calls behave as before qx_plix_init, `stopped` is
 * 1, and the child cannot affect the parent. qx_plix_uninit and qx_plix_init both close the child's
 * copies of the parent's descriptors, and qx_plix_init starts the library anew. A child that is
 * forked inside a callback stays inside that callback until it returns, and receives no further
 * events.
 *
 * The event thread blocks all signals, and programs that a callback starts on it inherit the signal
 * mask. If a signal handler runs on a thread that waits in qx_plix_read_event_fd, the call returns
 * -1. So does a command that waits for the broker, unless the handler was installed with SA_RESTART
 * or a timeout is set with qx_plix_set_timeout. */

/* --- events ------------------------------------------------------------------------------------
 */

/* Returns the event type with the given name, such as "QX_PLIX_DEVICE_DISCOVERY", or
 * QX_PLIX_EVENT_UNKNOWN if `name` is null or unknown. The case must match. */
qx_plix_event_type qx_plix_event_type_from_str(const char* name);

/* Returns the name of an event type as a constant text, or null if `type` is not an event type. */
const char* qx_plix_event_type_to_str(qx_plix_event_type type);

/* Subscribes to the events of one type. `callback`, which must not be null, receives each event
 * together with `user_data`. If `event_fd` is null, the callback runs on the library's event
 * thread. Otherwise the call stores a descriptor there, which is readable while events wait: pass
 * it to qx_plix_read_event_fd or qx_plix_read_events, which run the callback. The library owns the
 * descriptor and closes it when the subscription ends. The descriptor is valid only if the call
 * succeeds.
 *
 * The call blocks until the broker replies. It fails before qx_plix_init, inside a callback, for an
 * unknown type, if there are eight subscriptions already, and if the broker refuses or does not
 * run. The subscription survives restarts of the broker; events that the broker sends while the
 * connection is lost are lost. */
int qx_plix_subscribe(qx_plix_event_type type, qx_plix_event_cb callback, void* user_data,
                      int* event_fd);

/* Ends one subscription to `type`; does nothing if there is none. No callback of that subscription
 * runs after the call has returned. Inside an event callback the subscription ends when that
 * callback returns. */
void qx_plix_unsubscribe(qx_plix_event_type type);

/* Waits until `event_fd` is readable, then runs the subscription's callback on this thread: for one
 * event if `drain` is 0, else for all events that wait. Fails if the descriptor belongs to no
 * subscription, if the subscription ends during the wait, if a signal handler interrupts the wait,
 * and inside a callback. The wait is a cancellation point; no other call of the library is one. */
int qx_plix_read_event_fd(int event_fd, int drain);

/* Runs the subscription's callback on this thread for the oldest waiting events until their texts
 * total at least `most` bytes. Never waits; `event_fd` stays readable while more events wait. Fails
 * if the descriptor belongs to no subscription, and inside a callback. */
int qx_plix_read_events(int event_fd, uint64_t most);

/* Sets how many bytes of events may wait in this process, incomplete events included. The default
 * is 32 MiB, or an eighth of the machine's memory if that is less. A single event may exceed the
 * limit. Fails if `bytes` is 0.
 *
 * Above the limit the library applies back-pressure: it stops reading from the broker until half of
 * the backlog is drained. It reports a warning when reading stops and when reading resumes. If
 * incomplete events alone reach the limit, the library receives them one at a time, and
 * resubscribes a connection that makes no progress for five seconds. */
int qx_plix_set_backlog_limit(uint64_t bytes);

/* --- any command -------------------------------------------------------------------------------
 */

/* Sends any broker command. `name` is the command's name, which must be neither null nor empty.
 * `data_json` is the command's data, a JSON text of any type; a null pointer sends the JSON value
 * null. `out` receives the broker's data and may be null. Fails without sending anything if `name`
 * or `data_json` is invalid. */
int qx_plix_call(const char* name, const char* data_json, char** out);

/* --- services ----------------------------------------------------------------------------------
 */

/* Switch the agent's services on or off. */
int qx_plix_enable(void);
int qx_plix_disable(void);

/* Switch the router protection on or off. */
int qx_plix_enable_routerprotection(void);
int qx_plix_disable_routerprotection(void);

/* Switch the pro features on or off. */
int qx_plix_pro_features_enable(void);
int qx_plix_pro_features_disable(void);

/* Makes the agent apply its firewall rules again. */
int qx_plix_reapply_firewall_rules(void);

/* Store in `status` whether the agent's services or the router protection are on: 1 for on and 0
 * for off. Another number of the broker is stored as it is, but for -1 the call fails. `status`
 * must not be null; it is unchanged on failure. */
int qx_plix_is_enabled(int* status);
int qx_plix_is_routerprotection_enabled(int* status);

/* Store in `out` the versions of the agent and the broker, the diagnosis report or the status
 * report, each as the broker's JSON value. */
int qx_plix_get_version_info(char** out);
int qx_plix_get_diagnosis_report(char** out);
int qx_plix_get_status_report(char** out);

/* --- registration and subscription -------------------------------------------------------------
 */

/* Registers the router at the cloud with a partner token. The arguments are zero-terminated UTF-8
 * texts: the token, the router's MAC address, and the redeem code. `token` and `mac` must not be
 * null; if `redeem_code` is null, the MAC address is the redeem code. Fails before qx_plix_init and
 * for an invalid argument, without sending anything, and if the broker refuses. */
int qx_plix_register_to_cloud(const char* token, const char* mac, const char* redeem_code);

/* Registers the router with the values of the object `registration_info_json`. If the call fails
 * and `err` is not null, it stores the reason there: the broker's code and description, or a code
 * of the library. */
int qx_plix_register(const char* registration_info_json, qx_plix_error_t* err);

/* Store in `out` the status of the router's subscription. The second call also makes the agent try
 * to refresh the status. */
int qx_plix_get_subscription_status(char** out);
int qx_plix_update_subscription_status(char** out);

/* --- router and devices ------------------------------------------------------------------------
 */

/* Sets properties of the router. `router_info_json` is an object with any of the members "name",
 * "model", "serial_number", "firmware_version", "feature_set_level", "interfaces" and
 * "use_va_cloud_trigger", whose values go to the broker as they are. Each member is sent as one
 * command, in this order. The call sends the remaining members even if one fails, and then returns
 * -1. */
int qx_plix_set_router_info(const char* router_info_json);

/* Stores in `out` an object with the members that qx_plix_set_router_info sets. Members that the
 * broker does not supply are left out, and the library reports a warning that names them; the call
 * still succeeds. */
int qx_plix_get_router_info(char** out);

/* Stores in `out` the devices that a filter selects. `filter_json` is the filter, in the form that
 * the broker defines; a null pointer selects all devices. */
int qx_plix_get_devices(const char* filter_json, char** out);

/* Changes one device. `device_info_json` is an object with "device_id" and with either or both of
 * "name" and "traffic_blocked". Each of the two is sent as one command. The call sends the second
 * one even if the first one fails, and then returns -1. Without "device_id" it sends nothing and
 * fails. */
int qx_plix_set_device_info(const char* device_info_json);

/* Reports that devices came online or went offline. `online_status_json` is an object, or an array
 * of objects, with the texts "mac" and "interface" and the boolean "is_online". An object of an
 * online device also has "ip": a text or an array. If any object is invalid, the call sends nothing
 * and fails. */
int qx_plix_set_device_online_status(const char* online_status_json);

/* Removes a satellite. `satellite_json` is an object with the text "mac". Returns the broker's
 * error code instead of -1 if the broker refuses with one. */
int qx_plix_remove_satellite(const char* satellite_json);

/* --- vulnerability scans -----------------------------------------------------------------------
 */

/* Start or stop a vulnerability scan of the network, or start one of the router itself. The calls
 * do not wait for the end of the scan. */
int qx_plix_va_start(void);
int qx_plix_va_stop(void);
int qx_plix_va_self_scan_start(void);

/* Stores in `status`, like qx_plix_is_enabled, whether a scan runs. */
int qx_plix_va_status(int* status);

/* Sets when scans run. `schedule_json` is an object in the form that the broker defines. On failure
 * the call stores the reason in `err_text`, on success the broker's data, if any. `err_text` may be
 * null; free the text with free(). */
int qx_plix_va_set_schedule(const char* schedule_json, char** err_text);

/* Set or fetch the MAC address patterns of the devices that scans leave out. `exclusions_json` must
 * be an array. If a call fails and `err` is not null, it stores the reason there; `out` is then
 * unchanged. */
int qx_plix_va_set_exclusions(const char* exclusions_json, qx_plix_error_t* err);
int qx_plix_va_get_exclusions(char** out, qx_plix_error_t* err);

/* --- features ----------------------------------------------------------------------------------
 */

/* Stores in `out` the names of the agent's features. */
int qx_plix_get_features_list(char** out);

/* Stores in `out` the status of features. `query_json` selects them, in the form that the broker
 * defines. */
int qx_plix_get_feature(const char* query_json, char** out);

/* Changes the status of features and stores the broker's reply in `out`. `settings_json` holds the
 * new statuses, in the form that the broker defines. */
int qx_plix_set_feature(const char* settings_json, char** out);

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif
#ifdef __cplusplus
}
#endif

#endif
