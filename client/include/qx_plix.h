/*
 * Client library of the agent's broker.
 *
 * Unless a call says otherwise:
 * - The result is 0 for success and -1 for failure. Only qx_plix_init and qx_plix_init2 print, and
 *   they print one line on standard error.
 * - JSON goes in as zero-terminated UTF-8 text of an object or array. A null or malformed text
 *   fails without a request.
 * - JSON comes out through `char** out` as a text in one line that the caller frees with free().
 *   Set the pointer to null before the call: it is left alone when the broker sends no data. A null
 *   `out` fails without a request. When a command fails, the text holds the broker's details.
 * - A command opens a connection of its own, works on any thread, also before qx_plix_init, and
 *   blocks until the broker replies or the timeout of qx_plix_set_timeout expires.
 * - qx_plix_last_failure reports why a call failed.
 * - No call raises SIGPIPE.
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

/* What went wrong, filled by the calls that take a pointer to it; the pointer may be null. */
typedef struct qx_plix_error_t {
    int32_t code;          /* 1 bad argument, 2 bad JSON schema, 3 internal, or the broker's own */
    char message[64];      /* the name of `code`; empty for a code without a name */
    char description[188]; /* zero-terminated UTF-8 */
} qx_plix_error_t;

/* Where a call failed. */
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

/* Why a call failed. The size of the record is fixed; later versions use the reserved bytes. */
typedef struct qx_plix_failure_t {
    int32_t stage;         /* a qx_plix_stage */
    int32_t system_error;  /* errno, or 0 when no system call failed */
    int32_t has_code;      /* 1 when the broker sent a code, else 0 */
    int32_t code;          /* the broker's code, or 0 */
    char description[256]; /* the broker's reason: zero-terminated UTF-8, cut to fit, or empty */
    char message[512];     /* the failure as one English sentence: zero-terminated UTF-8 */
    char reserved[240];    /* zero */
} qx_plix_failure_t;

typedef enum qx_plix_event_type {
    QX_PLIX_DEVICE_DISCOVERY = 0,
    QX_PLIX_SUBSCRIPTION_CHANGED = 1,
    QX_PLIX_CLOUD_REGISTRATION_STATUS = 2,
    QX_PLIX_DEVICES_LIST_UPDATED = 3,
    QX_PLIX_QXAGENT_STARTED = 4,
    QX_PLIX_VA_STATUS_CHANGED = 5,
    QX_PLIX_SET_DEVICE_ONLINE_STATUS_RESULT = 6,
    QX_PLIX_EVENT_UNKNOWN = 7 /* no event: the answer for an unknown name */
} qx_plix_event_type;

/* Receives one event: the broker's JSON text, valid during the call only, and the subscriber's
 * pointer. Must not throw. */
typedef void (*qx_plix_event_cb)(const char* event_json, void* user_data);

/* Receives a warning: one line of English text without a line feed, valid during the call only, and
 * the pointer given to qx_plix_set_warning_cb. Runs on the thread that detects the condition: a
 * calling thread or the library's event thread. Must neither throw nor call the library. */
typedef void (*qx_plix_warning_cb)(const char* text, void* user_data);

/* Receives a change of the connection to the broker and the pointer given to
 * qx_plix_set_connection_cb. `connected` is 0 when subscriptions have lost the broker and 1 when
 * all of them are back; `missed_ms` is the time in between in milliseconds, 0 for a loss. Runs on
 * the library's event thread. Must neither throw nor call the library. */
typedef void (*qx_plix_connection_cb)(int connected, int64_t missed_ms, void* user_data);

/* NOLINTEND(modernize-use-using) */

/* --- start and stop ----------------------------------------------------------------------------
 */

/* 0 while the thread that receives events is to run, 1 before and after. A program that sets it to
 * 1 itself makes the thread end within a second; qx_plix_uninit is still due. */
extern int stopped;

/* Checks that a broker of this protocol version runs, and starts the thread that receives events
 * (it blocks all signals). Call it, and qx_plix_uninit, from one thread. Fails when started
 * already, when the install directory is not found, and when no such broker runs. */
int qx_plix_init(void);

/* The same for an agent installed in the directory `install_path`. */
int qx_plix_init2(const char* install_path);

/* Ends every subscription and the event thread; waits only for a running callback. Returns 0, also
 * when the library is not started, and -1 inside a callback. No other call may run at the same
 * time. */
int qx_plix_uninit(void);

/* Sets whose process is accepted as the broker. The broker's socket has no file and so no owner:
 * any user can listen on it while the broker is down. The library therefore checks the peer of
 * every connection before it sends anything. It treats the broker of another user like one that
 * accepts no connections, and reports a warning with its process and user id. By default it accepts
 * root, the effective user of the calling process, the owners of the version file and of the
 * install directory, and the user "norvane-plix" of /etc/passwd.
 * In a user namespace the kernel shows every unmapped user as 65534. The library accepts that id
 * only when it is the process's own or the required one.
 * `uid` is the only user id to accept, or one of the constants. Applies to connections opened
 * afterwards; works at any time, also before qx_plix_init. Fails for a value that is no user id.
 * Any thread. */
enum {
    QX_PLIX_BROKER_UID_ANY = -1,    /* any user */
    QX_PLIX_BROKER_UID_DEFAULT = -2 /* the default above */
};
int qx_plix_require_broker_uid(int64_t uid);

/* Installs the callback for warnings, which report conditions that no return value can. Null, the
 * initial value, disables them; a warning that another thread is already reporting still goes to
 * the previous callback. Works at any time, also before qx_plix_init. Any thread. */
void qx_plix_set_warning_cb(qx_plix_warning_cb callback, void* user_data);

/* Installs the callback for lost and regained connections. It is called once when the first
 * subscription loses the broker and once when all subscriptions are back; events that the broker
 * sent in between are lost. Null, the initial value, disables it. Works at any time, also before
 * qx_plix_init. Any thread. */
void qx_plix_set_connection_cb(qx_plix_connection_cb callback, void* user_data);

/* Bounds each command and each qx_plix_subscribe, from connecting to the last byte of the reply,
 * and the connection that qx_plix_init opens as a probe. A call that takes longer than
 * `milliseconds` fails, except qx_plix_get_router_info, which leaves out what is missing by then.
 * 0, the initial value, means no limit. The time is measured on the monotonic clock. Applies to
 * calls that begin afterwards; works at any time, also before qx_plix_init. Any thread. */
void qx_plix_set_timeout(uint64_t milliseconds);

/* Stores in `failure` why the last call on this thread failed, where only calls that report failure
 * by their result count. All members are 0 after a successful call and before the first one.
 * Returns 0, or -1 when `failure` is null. This call itself is never recorded. Any thread. */
int qx_plix_last_failure(qx_plix_failure_t* failure);

/* --- callbacks, fork and signals ---------------------------------------------------------------
 */

/* An event callback runs on the library's event thread, or for a subscription with a descriptor on
 * the thread that calls qx_plix_read_event_fd. Callbacks run one at a time, each holding the lock
 * on the subscriptions: until it returns, other events wait, and so do other threads that
 * subscribe, unsubscribe or read events. Inside a callback every command is allowed, and so is
 * qx_plix_unsubscribe, which takes effect when the callback returns. qx_plix_init,
 * qx_plix_subscribe, qx_plix_read_event_fd, qx_plix_read_events and qx_plix_uninit return -1 there
 * and do nothing. The event thread's stack has the platform's default size, but at least 1 MiB.
 *
 * In a forked child the library is not started: its calls fail as before qx_plix_init, `stopped` is
 * 1, and nothing that the child does affects the parent. qx_plix_uninit and qx_plix_init both close
 * the child's copies of the parent's descriptors; qx_plix_init then starts the library anew. A
 * child that is forked inside a callback stays inside the callback until it returns, and gets no
 * further events.
 *
 * The event thread blocks all signals, and programs that a callback starts there inherit this. A
 * signal handler makes a qx_plix_read_event_fd that waits on the same thread return -1. A command
 * that waits for the broker returns -1 too unless the handler was installed with SA_RESTART. While
 * qx_plix_set_timeout has set a limit, no handler interrupts a command. */

/* --- events ------------------------------------------------------------------------------------
 */

/* The type with exactly this name ("QX_PLIX_DEVICE_DISCOVERY", ...); QX_PLIX_EVENT_UNKNOWN for a
 * null or unknown one. */
qx_plix_event_type qx_plix_event_type_from_str(const char* name);

/* The name of a type, a constant; null for a value that is no type. */
const char* qx_plix_event_type_to_str(qx_plix_event_type type);

/* Subscribes to events of a type; there may be eight subscriptions at a time. A subscription
 * outlives restarts of the broker; events sent while the connection is lost are lost.
 * With a null `event_fd`, `callback` runs on the library's thread. Otherwise a descriptor is stored
 * there that is readable while events wait: pass it to qx_plix_read_event_fd, which runs
 * `callback`. The library owns it; it closes when the subscription ends.
 * Fails before qx_plix_init, inside a callback, for an unknown type, a null callback, a ninth
 * subscription, and when the broker refuses or is gone. Blocks until the broker answers. Any
 * thread. */
int qx_plix_subscribe(qx_plix_event_type type, qx_plix_event_cb callback, void* user_data,
                      int* event_fd);

/* Ends one subscription to `type`, if there is one. Once it has returned, no callback of that
 * subscription runs; inside the callback of any subscription it takes effect when that callback
 * returns. Any thread. */
void qx_plix_unsubscribe(qx_plix_event_type type);

/* Waits until `event_fd` is readable and hands waiting events to the callback, on this thread: one
 * when `drain` is 0, else all that are waiting now. Fails when the descriptor is not that of a
 * subscription, when the subscription ends meanwhile, and when a signal interrupts the wait. A
 * thread may be cancelled while it waits here, but in no other call. */
int qx_plix_read_event_fd(int event_fd, int drain);

/* Reads a limited portion and never waits: hands the oldest waiting events to the callback until
 * their texts total at least `most` bytes. `event_fd` stays readable while more events wait. Fails
 * when the descriptor is not that of a subscription. */
int qx_plix_read_events(int event_fd, uint64_t most);

/* Sets the bound, in bytes, on the memory of events that wait in this process, partly received ones
 * included. The default is 32 MiB. Above the bound the library stops reading from the broker
 * (back-pressure) until half is drained; it reports a warning when reading stops and when it
 * resumes. A single event may exceed the bound. If partly received events alone reach the bound,
 * the library receives them one at a time and resubscribes a connection that makes no progress for
 * five seconds. Fails for 0. Works at any time, also before qx_plix_init. Any thread. */
int qx_plix_set_backlog_limit(uint64_t bytes);

/* --- any command -------------------------------------------------------------------------------
 */

/* Sends the broker command `name` with the JSON value `data_json`, which may be of any type; null
 * stands for the JSON value null. Stores the broker's data in `out`, which may be null, even when
 * the broker refuses the command. Fails without a request for a null or empty `name` and for a text
 * that is not JSON. Any thread. */
int qx_plix_call(const char* name, const char* data_json, char** out);

/* --- services ----------------------------------------------------------------------------------
 */

int qx_plix_enable(void);
int qx_plix_disable(void);
int qx_plix_enable_routerprotection(void);
int qx_plix_disable_routerprotection(void);
int qx_plix_pro_features_enable(void);
int qx_plix_pro_features_disable(void);
int qx_plix_reapply_firewall_rules(void);

/* Store 1 or 0, or what else the broker's status is, in `status`. Untouched on failure. */
int qx_plix_is_enabled(int* status);
int qx_plix_is_routerprotection_enabled(int* status);

int qx_plix_get_version_info(char** out);
int qx_plix_get_diagnosis_report(char** out);
int qx_plix_get_status_report(char** out);

/* --- registration and subscription -------------------------------------------------------------
 */

/* Registers the router with the cloud. A null `redeem_code` stands for the MAC address. Needs
 * qx_plix_init. */
int qx_plix_register_to_cloud(const char* token, const char* mac, const char* redeem_code);

/* Registers with the values of a JSON object. `err` tells what the broker found wrong. */
int qx_plix_register(const char* registration_info_json, qx_plix_error_t* err);

int qx_plix_get_subscription_status(char** out);
int qx_plix_update_subscription_status(char** out);

/* --- router and devices ------------------------------------------------------------------------
 */

/* Sets what the object has of "name", "model", "serial_number", "firmware_version",
 * "feature_set_level", "interfaces" and "use_va_cloud_trigger", one command each. A command that
 * fails does not keep the others from being sent, but the call fails. */
int qx_plix_set_router_info(const char* router_info_json);

/* An object with the same members; one that the broker does not tell is left out. */
int qx_plix_get_router_info(char** out);

/* The devices that a filter selects; a null filter selects all. */
int qx_plix_get_devices(const char* filter_json, char** out);

/* Sets the "name" and "traffic_blocked", of what the object has, of the device "device_id". */
int qx_plix_set_device_info(const char* device_info_json);

/* Reports one device, or an array of them: texts "mac" and "interface", boolean "is_online", and
 * "ip" (a text or an array) when it is online. Anything else fails without a request. */
int qx_plix_set_device_online_status(const char* online_status_json);

/* Removes the satellite with the text "mac". The result may also be the broker's error code. */
int qx_plix_remove_satellite(const char* satellite_json);

/* --- vulnerability scans -----------------------------------------------------------------------
 */

int qx_plix_va_start(void);
int qx_plix_va_stop(void);
int qx_plix_va_self_scan_start(void);

/* Like qx_plix_is_enabled: whether a scan runs. */
int qx_plix_va_status(int* status);

/* `err_text`, unless null, receives on failure a reason, on success what the broker sent; it is
 * left alone when that is nothing. The caller frees the text with free(). */
int qx_plix_va_set_schedule(const char* schedule_json, char** err_text);

/* The document must be an array. */
int qx_plix_va_set_exclusions(const char* exclusions_json, qx_plix_error_t* err);
int qx_plix_va_get_exclusions(char** out, qx_plix_error_t* err);

/* --- features ----------------------------------------------------------------------------------
 */

int qx_plix_get_features_list(char** out);
int qx_plix_get_feature(const char* query_json, char** out);
int qx_plix_set_feature(const char* settings_json, char** out);

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif
#ifdef __cplusplus
}
#endif

#endif
