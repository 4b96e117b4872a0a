// The table of subscriptions, each with its connection to the broker and its subscriber.
#pragma once

#include "event_pipe.h"
#include "qx_plix.h"

#include <cstddef>

namespace qxplix {

/// Makes the table empty. Call it before the event thread starts.
void registrar_init();

/// Closes all subscriptions. Call it after the event thread has ended.
void registrar_uninit();

/// Resets the lock's turn (see fair_mutex) in a forked child, because a waiting thread of the
/// parent may have held the turn. Call it right after the fork. Does not release the lock: if a
/// callback forked, the callback returns to code that holds the lock.
void registrar_renew_turn();

/// Closes a forked child's copies of the parent's descriptors. Also reinitialises the lock, which a
/// thread of the parent may have held.
void registrar_disown();

/// Sends the subscription to the broker, waits for the reply, and adds the subscription to the
/// table. If `pipe` is null, the event thread runs the callback. Otherwise events wait in a queue
/// for a reader, and the subscription takes ownership of the pipe on success. Returns 0 on success
/// and -1 on failure, and records the failure. Safe to call from any thread, but not in a callback.
int registrar_subscribe_to_event(const char* event_name, qx_plix_event_cb callback, void* user_data,
                                 event_pipe* pipe);

/// Ends the first subscription to the event and closes its pipe and its connection. In a callback
/// the subscription ends when the callback returns. Never waits for the broker. Safe to call from
/// any thread.
void registrar_unsubscribe_from_event(const char* event_name);

/// Waits for a notification byte in the pipe with the read end `read_fd`, then runs the callback
/// for one event, or for all waiting events if `drain` is not 0. Returns 0, or -1 if no
/// subscription has this pipe, if the subscription ends, or if a signal interrupts the wait. Safe
/// to call from any thread, but not in a callback. The wait is a cancellation point.
int registrar_process_events_on_pipe(int read_fd, int drain);

/// Runs the callback for the oldest events until their texts total `most` bytes, without waiting.
/// Returns 0, or -1 if no subscription has this pipe. Safe to call from any thread, but not in a
/// callback.
int registrar_process_some_events_on_pipe(int read_fd, std::size_t most);

/// Receives from the connection `conn_fd` without waiting. Without a pipe, passes at most one event
/// to the callback; with a pipe, queues events up to a limit. If the connection is lost, closes it
/// and makes the subscription pending. Event thread only.
void registrar_process_events_on_conn(int conn_fd);

/// Sets the limit, in bytes, on the memory of all queues and incomplete frames. Above the limit the
/// library stops reading connections until the backlog falls to half of the limit. Safe to call
/// from any thread, also in a callback.
void registrar_set_backlog_limit(std::size_t bytes);

/// Ends a pass of the event thread: applies the backlog limit, retries lost subscriptions without
/// waiting, and reports changes of the backlog and of the connection. Returns whether another retry
/// is due soon. Event thread only.
bool registrar_finish_pass();

/// Returns whether a large queue has become empty since the previous call. Event thread only.
bool registrar_was_emptied();

} // namespace qxplix
