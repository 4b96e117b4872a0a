// One subscription: its connection to the broker, the events that wait, and their delivery. The
// registrar's lock guards every use.
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
    pending = 1,     ///< no connection; to be subscribed again
    active = 2,      ///< events arrive at the connection
    subscribing = 3, ///< the answer to the request is to arrive at the connection
};

struct subscription {
    subscription_state state;
    bool ended;   ///< unsubscribed by a running callback; closed when that returns
    bool watched; ///< the event thread waits for input on the connection
    int conn_fd;
    char event_name[128];
    event_queue queue;
    event_pipe* pipe; ///< null when the event thread runs the callback
    qx_plix_event_cb callback;
    void* user_data;
    std::size_t waiting;     ///< events in the queue
    std::size_t queued;      ///< memory that they take
    std::size_t most_queued; ///< the largest value since the queue was empty
    std::size_t unannounced; ///< the latest of them, whose notification byte a full pipe refused
    frame_reader reader;
    milliseconds attempted_at; ///< when it was last subscribed
};

inline bool is_connected(const subscription& slot) {
    return slot.state == subscription_state::active ||
           slot.state == subscription_state::subscribing;
}

/// Turns a free slot into an active subscription to an event and watches its connection. On success
/// it owns `conn_fd` and the pipe, which may be null, and returns 0. Returns -1 on failure.
int subscription_open(subscription& slot, const char* event_name, qx_plix_event_cb callback,
                      void* user_data, event_pipe* pipe, int conn_fd);

/// Ends the subscription: frees waiting events, closes the connection and wakes threads that wait
/// at the pipe.
void subscription_close(subscription& slot);

/// Closes a forked child's copies of the descriptors and does nothing else: the fork may have
/// caught the parent in the middle of a change.
void subscription_disown(subscription& slot);

/// Closes the connection; the subscription is pending.
void subscription_lose(subscription& slot);

/// Connects a pending subscription and sends its request. It stays pending if that fails.
void subscription_begin_again(subscription& slot, milliseconds time);

/// Starts or stops watching the connection for input.
void subscription_watch(subscription& slot, bool watched);

/// Receives without waiting. With a pipe, queues the events that have arrived, up to a limit per
/// call; `scratch` is the receive buffer. Without a pipe, hands at most one event to the callback.
/// Returns false when the connection is lost.
bool subscription_receive(subscription& slot, byte_gap scratch);

/// Writes as many of the due notification bytes as the pipe accepts.
void subscription_announce(subscription& slot);

/// Hands the oldest waiting event to the callback. Returns false when none waits.
bool subscription_hand_over(subscription& slot);

/// Whether the calling thread runs a callback and so holds the registrar's lock.
bool is_in_callback();

} // namespace qxplix
