// One subscription: its connection to the broker, the events that wait, and their delivery. The
// registrar's lock guards every use.
#pragma once

#include "event_pipe.h"
#include "event_queue.h"
#include "frame_reader.h"
#include "qx_plix.h"

#include <cstddef>
#include <cstdint>

namespace qxplix {

using milliseconds = std::int64_t;

enum class subscription_state : std::int32_t {
    free = 0,
    pending = 1,     ///< no connection; to be subscribed again
    active = 2,      ///< events arrive at the connection
    subscribing = 3, ///< the answer to the request is to arrive at the connection
};

struct subscription {
    subscription_state state;
    bool ended;   ///< by a callback that still runs; to be closed when it returns
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

/// Makes a free slot the active subscription to an event, and has its connection watched. Takes
/// over `conn_fd` and the pipe, which may be null. Returns 0, or -1 with nothing taken over.
int subscription_open(subscription& slot, const char* event_name, qx_plix_event_cb callback,
                      void* user_data, event_pipe* pipe, int conn_fd);

/// Ends the subscription: frees what waits, closes the connection, wakes the pipe's other users.
void subscription_close(subscription& slot);

/// Closes a forked child's copies of the descriptors and does nothing else: the parent, which still
/// uses the subscription, may have been changing it.
void subscription_disown(subscription& slot);

/// Closes the connection; the subscription is pending.
void subscription_lose(subscription& slot);

/// Connects a pending subscription and sends its request. It stays pending if that fails.
void subscription_begin_again(subscription& slot, milliseconds time);

/// Has the event thread wait for input on the connection, or no longer.
void subscription_watch(subscription& slot, bool watched);

/// Receives without waiting. With a pipe, what the connection has, or enough for now, goes to the
/// queue; `scratch` is room for it. Without one, at most one event goes to the callback. Returns
/// false when the connection is lost.
bool subscription_receive(subscription& slot, byte_gap scratch);

/// Writes the notification bytes that are due and find room.
void subscription_announce(subscription& slot);

/// Hands the oldest waiting event to the callback. Returns false when none waits.
bool subscription_hand_over(subscription& slot);

/// Whether the calling thread runs a callback, and so has the registrar's lock.
bool is_in_callback();

} // namespace qxplix
