#include "registrar.h"

#include "base/descriptor.h"
#include "event_thread.h"
#include "failure.h"
#include "mutex.h"
#include "notices.h"
#include "state.h"
#include "subscription.h"
#include "wire.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <pthread.h>
#include <sys/sysinfo.h>
#include <utility>

namespace qxplix {
namespace {

constexpr milliseconds kRetryInterval = 200; ///< between retries of a subscription
constexpr milliseconds kAnswerTime = 1000;   ///< limit for the broker's reply to a retry

// A reader releases the lock after this many events.
constexpr std::size_t kMostPerTurn = 32;

// A drained queue that held this many bytes leaves enough free memory to be worth returning to the
// system.
constexpr std::size_t kLargeQueue = std::size_t{64} * 1024;

constexpr std::uint64_t kUsualLimit = std::uint64_t{32} * 1024 * 1024;
constexpr std::uint64_t kShareOfMemory = 8; ///< default limit: at most memory / 8
constexpr milliseconds kCalmTime =
    1000; ///< report the end of back-pressure after this time without it
constexpr milliseconds kStallTime = 5000; ///< drop `exempt` if it is silent for this time

/// Connections and pipes are read and closed under this lock; otherwise a recycled descriptor
/// number could be mistaken for its previous owner.
struct registrar_table {
    fair_mutex guard;
    subscription slots[8] QX_GUARDED_BY(guard);
    char received[std::size_t{64} * 1024] QX_GUARDED_BY(guard);
    bool emptied QX_GUARDED_BY(guard);   ///< a large queue has become empty
    bool any_ended QX_GUARDED_BY(guard); ///< a callback has ended a subscription

    bool back_pressure QX_GUARDED_BY(guard); ///< back-pressure: connections are not read
    bool warned QX_GUARDED_BY(guard);
    milliseconds
        back_pressure_at QX_GUARDED_BY(guard); ///< when back-pressure was last on, if `warned`
    /// The one connection that is still read under back-pressure if all queues are empty. No reader
    /// can free memory then, so a frame must complete. The slot's subscription may have ended.
    subscription* exempt QX_GUARDED_BY(guard);
    milliseconds progressed_at QX_GUARDED_BY(guard); ///< last read of the exempt connection

    milliseconds lost_at QX_GUARDED_BY(guard); ///< when the broker was lost, or 0 while connected
};

/// Memory of waiting events, in bytes.
struct backlog {
    std::size_t queued;
    std::size_t unfinished; ///< received parts of incomplete frames

    [[nodiscard]] std::size_t total() const { return queued + unfinished; }
};

std::size_t backlog_limit = 0; ///< in bytes; 0 until set or first used

constinit registrar_table table{};

template <typename Predicate>
subscription* find_slot(Predicate fits) QX_REQUIRES(table.guard) {
    for (subscription& slot : table.slots) {
        if (fits(slot)) {
            return &slot;
        }
    }
    return nullptr;
}

subscription* find_pipe(const event_pipe& pipe) QX_REQUIRES(table.guard) {
    return find_slot([&pipe](const subscription& slot) { return slot.pipe == &pipe; });
}

subscription* find_event(const char* event_name) QX_REQUIRES(table.guard) {
    return find_slot([event_name](const subscription& slot) {
        return slot.state != subscription_state::free && !slot.ended &&
               std::strcmp(slot.event_name, event_name) == 0;
    });
}

// Call this after every callback.
void close_ended() QX_REQUIRES(table.guard) {
    if (!table.any_ended) {
        return;
    }
    table.any_ended = false;
    for (subscription& slot : table.slots) {
        if (slot.state != subscription_state::free && slot.ended) {
            subscription_close(slot);
        }
    }
}

// On a router with 64 MiB, a backlog of 32 MiB would leave the system too little memory to run.
std::size_t usual_limit() {
    struct sysinfo machine {};
    if (::sysinfo(&machine) != 0) {
        return static_cast<std::size_t>(kUsualLimit);
    }
    const std::uint64_t memory = std::uint64_t{machine.totalram} * machine.mem_unit;
    return static_cast<std::size_t>(std::min(kUsualLimit, memory / kShareOfMemory));
}

std::size_t current_limit() {
    std::size_t limit = __atomic_load_n(&backlog_limit, __ATOMIC_RELAXED);
    if (limit == 0) {
        const std::size_t usual = usual_limit();
        // Do not overwrite a limit that another thread has just set.
        if (__atomic_compare_exchange_n(&backlog_limit, &limit, usual, false, __ATOMIC_RELAXED,
                                        __ATOMIC_RELAXED)) {
            return usual;
        }
    }
    return limit;
}

backlog measure_backlog() QX_REQUIRES(table.guard) {
    backlog sum{};
    for (const subscription& slot : table.slots) {
        if (slot.state != subscription_state::free) {
            sum.queued += slot.queued;
            sum.unfinished += slot.reader.body_filled;
        }
    }
    return sum;
}

bool may_be_read(const subscription& slot) QX_REQUIRES(table.guard) {
    return !table.back_pressure || &slot == table.exempt;
}

// Call this after every change that frees backlog. The event thread need not: it applies the limit
// at the end of each pass.
void wake_if_relieved() QX_REQUIRES(table.guard) {
    if (!table.back_pressure) {
        return;
    }
    const backlog left = measure_backlog();
    if (left.total() <= current_limit() / 2) {
        table.back_pressure = false;
        table.back_pressure_at = now();
    } else if (left.queued > 0) {
        return;
    }
    event_thread_wake();
}

// Incomplete frames alone can reach the limit: one large frame, or several together. Exempts one of
// their connections from back-pressure, and drops an exempt connection that has stalled.
void choose_exempt(bool has_queued) QX_REQUIRES(table.guard) {
    if (!table.back_pressure || has_queued) {
        table.exempt = nullptr;
        return;
    }
    const auto is_under_way = [](const subscription& slot) {
        return is_connected(slot) && slot.reader.body != nullptr;
    };
    const milliseconds time = now();
    if (table.exempt != nullptr && is_under_way(*table.exempt)) {
        if (time - table.progressed_at < kStallTime) {
            return;
        }
        subscription_lose(*table.exempt);
    }
    // Choose the frame with the most bytes received so far: its completion lets a reader free the
    // most memory, and newer frames cannot starve it.
    table.exempt = nullptr;
    for (subscription& slot : table.slots) {
        if (is_under_way(slot) && (table.exempt == nullptr ||
                                   slot.reader.body_filled > table.exempt->reader.body_filled)) {
            table.exempt = &slot;
        }
    }
    table.progressed_at = time;
}

void receive_from(subscription& slot) QX_REQUIRES(table.guard) {
    if (!may_be_read(slot)) {
        return;
    }
    if (&slot == table.exempt) {
        table.progressed_at = now();
    }
    if (!subscription_receive(slot, {table.received, sizeof table.received})) {
        subscription_lose(slot);
    }
    subscription_announce(slot);
    close_ended();
    if (measure_backlog().total() > current_limit()) {
        table.back_pressure = true;
    }
}

void resubscribe(subscription& slot, milliseconds time) QX_REQUIRES(table.guard) {
    const milliseconds waited = time - slot.attempted_at;
    if (slot.state == subscription_state::subscribing && waited >= kAnswerTime) {
        // A slow callback may have delayed this pass: the reply may have arrived in time, unread.
        receive_from(slot);
        if (slot.state == subscription_state::subscribing) {
            subscription_lose(slot);
        }
    }
    if (slot.state == subscription_state::pending && waited >= kRetryInterval) {
        subscription_begin_again(slot, time);
    }
}

bool registrar_process_event_on_pipe(subscription& slot) QX_REQUIRES(table.guard) {
    // The callback may have forked, and this may be the child.
    if (!subscription_deliver(slot) || !is_initialised()) {
        return false;
    }
    if (slot.waiting == 0) {
        table.emptied = table.emptied || slot.most_queued >= kLargeQueue;
        slot.most_queued = 0;
    }
    close_ended();
    wake_if_relieved();
    return true;
}

event_pipe* acquire_pipe(int read_fd) {
    const mutex_guard lock(table.guard);
    subscription* const slot = find_slot([read_fd](const subscription& candidate) {
        return candidate.pipe != nullptr && candidate.pipe->read_fd == read_fd;
    });
    if (slot == nullptr) {
        return nullptr;
    }
    ++slot->pipe->references;
    return slot->pipe;
}

void release_pipe(void* pipe) {
    const mutex_guard lock(table.guard);
    event_pipe_release(static_cast<event_pipe*>(pipe));
}

int fail_no_subscription() {
    return fail(QX_PLIX_STAGE_ARGUMENT, "the descriptor belongs to no subscription");
}

enum class notification { taken, awaited, ended };

// Takes the notification bytes of the oldest events until their texts total at least `most` bytes
// or no event waits. Stores the number of these events in `events`.
notification take_notifications(const event_pipe& pipe, std::size_t most, std::size_t& events) {
    const mutex_guard lock(table.guard);
    subscription* const slot = find_pipe(pipe);
    if (slot == nullptr) {
        return notification::ended;
    }
    events = event_queue_count(slot->queue, most);
    // Another reader may have taken some of these notification bytes, or may have delivered events
    // whose notification byte is still in the pipe.
    const ssize_t taken = event_pipe_read(pipe, slot->waiting == 0 ? 1 : events);
    if (taken < 0) {
        return notification::ended;
    }
    const auto known = static_cast<std::size_t>(taken);
    const std::size_t refused = events > known ? events - known : 0;
    const std::size_t claimed = refused < slot->unannounced ? refused : slot->unannounced;
    slot->unannounced -= claimed;
    subscription_announce(*slot);
    return known + claimed > 0 ? notification::taken : notification::awaited;
}

// The thread can be cancelled only here, where it holds no lock.
int wait_for_notification(event_pipe* pipe, int cancel_state) {
    int result = -1;
    pthread_cleanup_push(release_pipe, pipe);
    ::pthread_setcancelstate(cancel_state, nullptr);
    result = event_pipe_wait(*pipe);
    ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    pthread_cleanup_pop(0);
    return result;
}

void deliver_waiting(const event_pipe& pipe, std::size_t count) {
    while (count > 0) {
        const mutex_guard lock(table.guard);
        for (std::size_t turn = 0; turn < kMostPerTurn && count > 0; ++turn, --count) {
            subscription* const slot = find_pipe(pipe);
            if (slot == nullptr || !registrar_process_event_on_pipe(*slot)) {
                return;
            }
        }
    }
}

int read_events(event_pipe* pipe, std::size_t most, int cancel_state) {
    for (;;) {
        std::size_t events = 0;
        switch (take_notifications(*pipe, most, events)) {
        case notification::taken:
            deliver_waiting(*pipe, events);
            clear_failure(); // the callback may have left a failure
            return 0;
        case notification::awaited:
            if (wait_for_notification(pipe, cancel_state) != 0) {
                return fail_with_errno(QX_PLIX_STAGE_LIMIT, "cannot wait for events");
            }
            break;
        case notification::ended:
            return fail_no_subscription();
        }
    }
}

enum class backlog_change { none, begins, ends };

// Ends back-pressure once the backlog is small enough, and watches the connections that may be
// read. Returns the change to report.
backlog_change limit_backlog(std::size_t limit) QX_REQUIRES(table.guard) {
    const backlog waiting = measure_backlog();
    if (table.back_pressure) {
        table.back_pressure_at = now();
    }
    table.back_pressure = table.back_pressure && waiting.total() > limit / 2;
    choose_exempt(waiting.queued > 0);
    for (subscription& slot : table.slots) {
        if (is_connected(slot)) {
            subscription_watch(slot, may_be_read(slot));
        }
    }
    if (table.back_pressure && !table.warned) {
        table.warned = true;
        return backlog_change::begins;
    }
    if (table.warned && now() - table.back_pressure_at >= kCalmTime) {
        table.warned = false;
        return backlog_change::ends;
    }
    return backlog_change::none;
}

// Retries every lost subscription that is due, without waiting. Returns whether another retry is
// due soon. Does nothing under back-pressure.
bool registrar_resubscribe_all_pending_subs() QX_REQUIRES(table.guard) {
    if (table.back_pressure) {
        return false;
    }
    bool unfinished = false;
    for (subscription& slot : table.slots) {
        if (slot.state == subscription_state::pending ||
            slot.state == subscription_state::subscribing) {
            resubscribe(slot, now());
            unfinished = true;
        }
    }
    return unfinished;
}

enum class connection_change { none, lost, regained };

// Compares the connections with the last report to the application. If the broker is regained,
// stores in `missed` how long the broker was lost.
connection_change note_connection(milliseconds& missed) QX_REQUIRES(table.guard) {
    bool any_lost = false;
    bool any_there = false;
    for (const subscription& slot : table.slots) {
        any_lost = any_lost || slot.state == subscription_state::pending ||
                   slot.state == subscription_state::subscribing;
        any_there = any_there || slot.state == subscription_state::active;
    }
    // Without an active subscription it is unknown whether a lost broker runs again.
    const bool is_lost = any_lost || (table.lost_at != 0 && !any_there);
    if (is_lost == (table.lost_at != 0)) {
        return connection_change::none;
    }
    missed = is_lost ? 0 : now() - table.lost_at;
    table.lost_at = is_lost ? now() : 0;
    return is_lost ? connection_change::lost : connection_change::regained;
}

void warn_of_backlog(std::size_t limit) {
    char text[160];
    std::snprintf(text, sizeof text,
                  "event backlog above %zu KiB: events are read too slowly; receiving pauses until "
                  "half of the backlog is drained",
                  limit / 1024);
    warn(text);
}

// Holds a reference to the pipe and disables thread cancellation while it calls `read`. `read`
// receives the caller's cancel state and restores that state while it waits.
template <typename Read>
int use_pipe(int read_fd, const Read& read) {
    event_pipe* const pipe = acquire_pipe(read_fd);
    if (pipe == nullptr) {
        return fail_no_subscription();
    }
    int cancel_state = 0;
    ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancel_state);
    const int result = read(pipe, cancel_state);
    release_pipe(pipe);
    ::pthread_setcancelstate(cancel_state, nullptr);
    return result;
}

} // namespace

void registrar_init() {
    const mutex_guard lock(table.guard);
    for (subscription& slot : table.slots) {
        slot.state = subscription_state::free;
    }
    table.any_ended = false;
    table.back_pressure = false;
    table.warned = false;
    table.exempt = nullptr;
    table.lost_at = 0;
}

void registrar_uninit() {
    const mutex_guard lock(table.guard);
    for (subscription& slot : table.slots) {
        if (slot.state != subscription_state::free) {
            subscription_close(slot);
        }
    }
}

void registrar_renew_turn() {
    table.guard.renew_turn();
}

void registrar_disown() {
    table.guard.renew();
    const mutex_guard lock(table.guard);
    for (subscription& slot : table.slots) {
        subscription_disown(slot);
    }
}

int registrar_subscribe_to_event(const char* event_name, qx_plix_event_cb callback, void* user_data,
                                 event_pipe* pipe) {
    qx::io::descriptor conn;
    if (converse(conn, "subscribe", event_name, nullptr, nullptr) != 0) {
        return -1;
    }
    const mutex_guard lock(table.guard);
    subscription* const slot = find_slot(
        [](const subscription& candidate) { return candidate.state == subscription_state::free; });
    if (slot == nullptr) {
        return fail(QX_PLIX_STAGE_LIMIT, "there are eight subscriptions already");
    }
    if (subscription_open(*slot, event_name, callback, user_data, pipe, conn.get()) != 0) {
        return fail_with_errno(QX_PLIX_STAGE_LIMIT, "cannot watch the connection");
    }
    slot->attempted_at = now();
    (void)conn.release();
    return 0;
}

void registrar_unsubscribe_from_event(const char* event_name) {
    if (is_in_callback()) {
        table.guard.assert_held();
        if (subscription* const slot = find_event(event_name)) {
            slot->ended = true;
            table.any_ended = true;
        }
        return;
    }
    const mutex_guard lock(table.guard);
    if (subscription* const slot = find_event(event_name)) {
        subscription_close(*slot);
        wake_if_relieved();
    }
}

int registrar_process_events_on_pipe(int read_fd, int drain) {
    const std::size_t most = drain == 0 ? 1 : SIZE_MAX;
    return use_pipe(read_fd, [most](event_pipe* pipe, int cancel_state) {
        return read_events(pipe, most, cancel_state);
    });
}

int registrar_process_some_events_on_pipe(int read_fd, std::size_t most) {
    return use_pipe(read_fd, [most](const event_pipe* pipe, int /*cancel_state*/) {
        std::size_t events = 0;
        if (take_notifications(*pipe, most, events) == notification::ended) {
            return fail_no_subscription();
        }
        deliver_waiting(*pipe, events);
        clear_failure(); // the callback may have left a failure
        return 0;
    });
}

void registrar_process_events_on_conn(int conn_fd) {
    const mutex_guard lock(table.guard);
    subscription* const slot = find_slot([conn_fd](const subscription& candidate) {
        return is_connected(candidate) && candidate.conn_fd == conn_fd;
    });
    if (slot != nullptr) {
        receive_from(*slot);
    }
}

bool registrar_was_emptied() {
    const mutex_guard lock(table.guard);
    return std::exchange(table.emptied, false);
}

void registrar_set_backlog_limit(std::size_t bytes) {
    __atomic_store_n(&backlog_limit, bytes, __ATOMIC_RELAXED);
}

bool registrar_finish_pass() {
    const std::size_t limit = current_limit();
    backlog_change change{};
    connection_change connection{};
    milliseconds missed = 0;
    bool unfinished = false;
    {
        const mutex_guard lock(table.guard);
        change = limit_backlog(limit);
        connection = note_connection(missed);
        unfinished = registrar_resubscribe_all_pending_subs();
    }
    if (connection != connection_change::none) {
        tell_connection(connection == connection_change::regained, missed);
    }
    if (change == backlog_change::begins) {
        warn_of_backlog(limit);
    } else if (change == backlog_change::ends) {
        warn("event backlog drained: events are received as usual");
    }
    return unfinished;
}

} // namespace qxplix
