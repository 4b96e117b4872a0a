// A subscription: its connection to the broker, its waiting events, and their delivery. The lock
// of the registrar (registrar.cpp) guards every use.
#pragma once

#include "clock.h"
#include "event_pipe.h"
#include "event_queue.h"
#include "frame_reader.h"
#include "qx_plix.h"

#include <cstddef>
#include <cstdint>

namespace qxplix {

enum class subscription_state : std::int32_t {
    free = 0,
    pending = 1,     ///< no connection; a retry is due
    active = 2,      ///< the connection delivers events
    subscribing = 3, ///< the broker's reply to a retry is outstanding
};

struct subscription {
    subscription_state state;
    bool ended;   ///< unsubscribed by a running callback; closed when the callback returns
    bool watched; ///< the event thread waits for input on the connection
    int conn_fd;
    char event_name[128];
    event_queue queue;
    event_pipe* pipe; ///< null when the event thread runs the callback
    qx_plix_event_cb callback;
    void* user_data;
    std::size_t waiting;     ///< number of events in the queue
    std::size_t queued;      ///< memory of the queue, in bytes
    std::size_t most_queued; ///< maximum of `queued` since the queue was last empty
    std::size_t unannounced; ///< number of notification bytes still to be written
    frame_reader reader;
    milliseconds attempted_at; ///< time of the last attempt to subscribe
};

inline bool is_connected(const subscription& slot) {
    return slot.state == subscription_state::active ||
           slot.state == subscription_state::subscribing;
}

/// Turns a free slot into an active subscription and watches its connection. On success, takes
/// ownership of `conn_fd` and of `pipe`, which may be null. Returns 0, or -1 with errno on failure.
int subscription_open(subscription& slot, const char* event_name, qx_plix_event_cb callback,
                      void* user_data, event_pipe* pipe, int conn_fd);

/// Ends the subscription: frees waiting events, closes the connection and wakes threads that wait
/// on the pipe.
void subscription_close(subscription& slot);

/// Closes a forked child's copies of the descriptors. Deliberately leaks the queue: another thread
/// of the parent may have been changing the queue at the time of the fork.
void subscription_disown(subscription& slot);

/// Closes the connection and makes the subscription pending.
void subscription_lose(subscription& slot);

/// Connects a pending subscription and sends its request, without waiting. `time` is the current
/// time. On failure the subscription stays pending.
void subscription_begin_again(subscription& slot, milliseconds time);

/// Starts or stops watching the connection for input.
void subscription_watch(subscription& slot, bool watched);

/// Receives without waiting. With a pipe, queues the received events, up to a limit per call, and
/// uses `scratch` as the receive buffer. Without a pipe, passes at most one event to the callback.
/// Returns false if the connection is lost.
bool subscription_receive(subscription& slot, byte_gap scratch);

/// Writes outstanding notification bytes until the pipe is full. A later call writes the rest.
void subscription_announce(subscription& slot);

/// Removes the oldest event from the queue and passes it to the callback. Returns false if the
/// queue is empty.
bool subscription_deliver(subscription& slot);

/// Returns whether the calling thread runs an event callback and therefore holds the registrar's
/// lock.
bool is_in_callback();

} // namespace qxplix
