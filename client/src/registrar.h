// The subscriptions: which connection of the broker feeds which subscriber.
#pragma once

#include "event_pipe.h"
#include "qx_plix.h"

#include <cstddef>

namespace qxplix {

/// Before the event thread starts, and after it has ended.
void registrar_init();
void registrar_uninit();

/// In a forked child: closes its copies of the parent's descriptors, even if the parent held the
/// lock.
void registrar_disown();

/// Subscribes at the broker, waiting for its answer, and takes a place in the table. With a pipe,
/// which then belongs to the subscription, events wait for their reader; without one (null) the
/// event thread runs the callback. 0 or -1. Any thread, but not in a callback.
int registrar_subscribe_to_event(const char* event_name, qx_plix_event_cb callback, void* user_data,
                                 event_pipe* pipe);

/// Ends the first subscription to the event, closing its pipe and its connection; in a callback,
/// as soon as that returns. Never waits for the broker. Any thread.
void registrar_unsubscribe_from_event(const char* event_name);

/// Waits for a notification byte at the read end of a subscription's pipe, then runs the callback
/// for one event, or for all that wait when `drain` is not 0. -1 when there is no such
/// subscription (any more) or the wait is interrupted. Any thread, but not in a callback; the wait
/// is a cancellation point.
int registrar_process_events_on_pipe(int read_fd, int drain);

/// Runs the callback, without waiting, for the oldest events until their texts total `most` bytes.
/// Returns -1 when there is no such subscription (any more). Any thread, but not in a callback.
int registrar_process_some_events_on_pipe(int read_fd, std::size_t most);

/// Event thread: receives what is there at a connection, but at most one event for a callback,
/// without waiting, and delivers it. A connection that has failed is closed and its subscription
/// pending.
void registrar_process_events_on_conn(int conn_fd);

/// Sets how many bytes of events may wait in all queues and incomplete frames. Above this bound no
/// connection is read until half of the backlog is drained. Any thread, also in a callback.
void registrar_set_backlog_limit(std::size_t bytes);

/// Event thread, after every pass: decides which connections are read and goes on with every
/// subscription whose connection was lost, without waiting. Warns when reading pauses and when it
/// has resumed. Returns whether another attempt to subscribe is due soon.
bool registrar_finish_pass();

/// Event thread: whether a long queue has become empty since the last call.
bool registrar_was_emptied();

} // namespace qxplix
