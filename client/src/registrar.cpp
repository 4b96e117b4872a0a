#include "registrar.h"

#include "event_queue.h"
#include "event_thread.h"
#include "frame_reader.h"
#include "wire.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/socket.h>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace qxplix {
namespace {

using milliseconds = std::int64_t;

constexpr milliseconds kRetryInterval = 200; ///< between two attempts to subscribe again
constexpr milliseconds kAnswerTime = 1000;   ///< for the broker to answer such an attempt

// One flood of events must not keep the other connections waiting, nor whoever wants the mutex.
constexpr std::size_t kMostPerReport = std::size_t{256} * 1024;
constexpr std::size_t kMostPerTurn = 32;

// A queue that has been this long leaves memory behind that is worth returning.
constexpr std::size_t kLongQueue = 256;

#if defined(__GLIBC__)
constexpr std::size_t kLargeBlock = std::size_t{100} * 1024;
#endif

enum class slot_state : std::int32_t {
    free = 0,
    pending = 1,     ///< no connection; to be subscribed again
    active = 2,      ///< events arrive at the connection
    subscribing = 3, ///< the answer to the request is to arrive at the connection
};

struct registrar_slot {
    slot_state state;
    int conn_fd;
    char event_name[128];
    void (*deliver)(registrar_slot&, char* message);
    event_queue queue;
    event_pipe pipe;
    qx_plix_event_cb callback;
    void* user_data;
    std::size_t waiting;     ///< events in the queue
    std::size_t longest;     ///< how many there were at most since it was empty
    std::size_t unannounced; ///< the latest of them, whose notification byte a full pipe refused
    frame_reader reader;
    milliseconds attempted_at;
};

/// Every connection and pipe is read and closed with the mutex held, so that a descriptor number
/// that was given back is never taken for what it stood for before.
struct registrar_table {
    fair_mutex guard;
    registrar_slot slots[8] QX_GUARDED_BY(guard);
    char received[std::size_t{64} * 1024] QX_GUARDED_BY(guard);
    bool emptied QX_GUARDED_BY(guard); ///< a long queue has become empty
};

constinit registrar_table table{};

milliseconds now() {
    timespec time{};
    ::clock_gettime(CLOCK_MONOTONIC, &time);
    return milliseconds{time.tv_sec} * 1000 + time.tv_nsec / 1'000'000;
}

bool is_connected(const registrar_slot& slot) {
    return slot.state == slot_state::active || slot.state == slot_state::subscribing;
}

template <typename Predicate>
registrar_slot* find_slot(Predicate fits) QX_REQUIRES(table.guard) {
    for (registrar_slot& slot : table.slots) {
        if (fits(slot)) {
            return &slot;
        }
    }
    return nullptr;
}

registrar_slot* registrar_find_event_pipe(int read_fd) QX_REQUIRES(table.guard) {
    return find_slot([read_fd](const registrar_slot& slot) {
        return slot.state != slot_state::free && slot.pipe.read_fd == read_fd;
    });
}

void close_connection(registrar_slot& slot) {
    event_thread_cancel_fd(slot.conn_fd);
    // A child that was forked just now has a copy; it must not keep the subscription alive.
    ::shutdown(slot.conn_fd, SHUT_RDWR);
    ::close(slot.conn_fd);
    slot.conn_fd = -1;
    frame_reader_reset(slot.reader);
}

void registrar_close_slot(registrar_slot& slot) {
    event_queue_destroy(&slot.queue);
    event_pipe_destroy(&slot.pipe);
    if (is_connected(slot)) {
        close_connection(slot);
    }
    slot.state = slot_state::free;
}

void registrar_mark_sub_as_pending(registrar_slot& slot) {
    close_connection(slot);
    slot.state = slot_state::pending;
}

void deliver_to_callback(registrar_slot& slot, char* message) {
    slot.callback(message, slot.user_data);
    std::free(message);
}

void deliver_to_pipe(registrar_slot& slot, char* message) {
    event_node* const node = event_node_create(message, &slot.queue);
    if (node == nullptr) {
        return;
    }
    event_queue_enqueue(node, &slot.queue);
    ++slot.waiting;
    ++slot.unannounced;
    slot.longest = slot.longest < slot.waiting ? slot.waiting : slot.longest;
}

// One notification byte per event. Those that do not fit follow when the reader has made room.
void announce(registrar_slot& slot) {
    if (slot.unannounced > 0) {
        slot.unannounced -= event_pipe_write(&slot.pipe, slot.unannounced);
    }
}

bool take_message(registrar_slot& slot) {
    char* const message = frame_reader_take(slot.reader);
    if (slot.state == slot_state::active) {
        slot.deliver(slot, message);
        return true;
    }
    const text_handle response(message);
    if (read_response(response.get(), nullptr) != 0) {
        return false;
    }
    slot.state = slot_state::active;
    return true;
}

bool handle(registrar_slot& slot, frame_state state) {
    return state == frame_state::complete ? take_message(slot) : state == frame_state::incomplete;
}

bool handle_all(registrar_slot& slot, byte_range in) {
    while (in.size > 0) {
        if (!handle(slot, frame_reader_feed(slot.reader, in))) {
            return false;
        }
    }
    return true;
}

// Receives until nothing is left, or enough for now. False when the connection is lost.
bool receive(registrar_slot& slot) QX_REQUIRES(table.guard) {
    for (std::size_t total = 0; total < kMostPerReport;) {
        byte_gap room = frame_reader_gap(slot.reader);
        const bool in_place = room.size >= sizeof table.received;
        if (!in_place) {
            room = {table.received, sizeof table.received};
        } else if (room.size > kMostPerReport) {
            room.size = kMostPerReport;
        }
        const ssize_t result = ::recv(slot.conn_fd, room.data, room.size, MSG_DONTWAIT);
        if (result <= 0) {
            return result < 0 && (errno == EAGAIN || errno == EINTR);
        }
        const auto size = static_cast<std::size_t>(result);
        if (in_place ? !handle(slot, frame_reader_fill(slot.reader, size))
                     : !handle_all(slot, {room.data, size})) {
            return false;
        }
        if (size < room.size) {
            break;
        }
        total += size;
    }
    return true;
}

void begin_resubscription(registrar_slot& slot, milliseconds time) {
    slot.attempted_at = time;
    fd_handle conn(open_conn(SOCK_NONBLOCK));
    if (!conn || send_request(conn.get(), "subscribe", slot.event_name, nullptr) != 0 ||
        event_thread_schedule_fd_ro(conn.get()) != 0) {
        return;
    }
    slot.conn_fd = conn.release();
    slot.state = slot_state::subscribing;
}

void take_in(registrar_slot& slot) QX_REQUIRES(table.guard) {
    if (!receive(slot)) {
        registrar_mark_sub_as_pending(slot);
    }
    announce(slot);
}

void resubscribe(registrar_slot& slot, milliseconds time) QX_REQUIRES(table.guard) {
    const milliseconds waited = time - slot.attempted_at;
    if (slot.state == slot_state::subscribing && waited >= kAnswerTime) {
        // A slow callback may have used the time up, and the answer be there.
        take_in(slot);
        if (slot.state == slot_state::subscribing) {
            registrar_mark_sub_as_pending(slot);
        }
    }
    if (slot.state == slot_state::pending && waited >= kRetryInterval) {
        begin_resubscription(slot, time);
    }
}

void fill(registrar_slot& slot, const char* event_name, qx_plix_event_cb callback, void* user_data,
          const event_pipe& pipe, int conn_fd) {
    slot.state = slot_state::active;
    slot.conn_fd = conn_fd;
    const std::size_t length = ::strnlen(event_name, sizeof slot.event_name - 1);
    std::memcpy(slot.event_name, event_name, length);
    slot.event_name[length] = '\0';
    slot.deliver = pipe.read_fd != -1 ? deliver_to_pipe : deliver_to_callback;
    slot.pipe = pipe;
    slot.callback = callback;
    slot.user_data = user_data;
    slot.waiting = 0;
    slot.longest = 0;
    slot.unannounced = 0;
    slot.reader = {};
    slot.attempted_at = now();
}

bool registrar_process_event_on_pipe(registrar_slot& slot) QX_REQUIRES(table.guard) {
    event_node* const node = event_queue_dequeue(&slot.queue);
    if (node == nullptr) {
        return false;
    }
    if (--slot.waiting == 0) {
        table.emptied = table.emptied || slot.longest >= kLongQueue;
        slot.longest = 0;
    }
    slot.callback(node->message, slot.user_data);
    event_node_destroy(node, &slot.queue);
    return true;
}

// How many events a reader is to get now. -1 when there is no notification, or no such pipe.
int take_notification(int read_fd, int drain, std::size_t& events) {
    const mutex_guard lock(table.guard);
    registrar_slot* const slot = registrar_find_event_pipe(read_fd);
    if (slot == nullptr || event_pipe_read(&slot->pipe, drain) != 0) {
        return -1;
    }
    if (drain == 0) {
        events = 1;
        announce(*slot);
    } else {
        events = slot->waiting;
        slot->unannounced = 0;
    }
    return 0;
}

int wait_for_notification(int read_fd) {
    int copy = -1;
    {
        const mutex_guard lock(table.guard);
        if (registrar_find_event_pipe(read_fd) == nullptr) {
            return -1;
        }
        // The subscription may end meanwhile, and its descriptor stand for something else.
        copy = ::fcntl(read_fd, F_DUPFD_CLOEXEC, 0);
    }
    const fd_handle waiter(copy);
    return waiter ? event_pipe_wait(waiter.get()) : -1;
}

void deliver_waiting(int read_fd, std::size_t count) {
    while (count > 0) {
        const mutex_guard lock(table.guard);
        registrar_slot* const slot = registrar_find_event_pipe(read_fd);
        for (std::size_t turn = 0; turn < kMostPerTurn && count > 0; ++turn, --count) {
            if (slot == nullptr || !registrar_process_event_on_pipe(*slot)) {
                return;
            }
        }
    }
}

} // namespace

void registrar_init() {
    const mutex_guard lock(table.guard);
    for (registrar_slot& slot : table.slots) {
        slot.state = slot_state::free;
    }
}

void registrar_uninit() {
    const mutex_guard lock(table.guard);
    for (registrar_slot& slot : table.slots) {
        if (slot.state != slot_state::free) {
            registrar_close_slot(slot);
        }
    }
}

int registrar_subscribe_to_event(const char* event_name, qx_plix_event_cb callback, void* user_data,
                                 const event_pipe* pipe) {
    fd_handle conn(open_conn());
    if (!conn || send_request(conn.get(), "subscribe", event_name, nullptr) != 0 ||
        recv_response(conn.get(), nullptr) != 0) {
        return -1;
    }
    const mutex_guard lock(table.guard);
    registrar_slot* const slot = find_slot(
        [](const registrar_slot& candidate) { return candidate.state == slot_state::free; });
    if (slot == nullptr || event_queue_create(&slot->queue) != 0) {
        return -1;
    }
    if (event_thread_schedule_fd_ro(conn.get()) != 0) {
        event_queue_destroy(&slot->queue);
        return -1;
    }
    fill(*slot, event_name, callback, user_data, *pipe, conn.release());
    return 0;
}

void registrar_unsubscribe_from_event(const char* event_name) {
    const mutex_guard lock(table.guard);
    registrar_slot* const slot = find_slot([event_name](const registrar_slot& candidate) {
        return candidate.state != slot_state::free &&
               std::strcmp(candidate.event_name, event_name) == 0;
    });
    if (slot != nullptr) {
        registrar_close_slot(*slot);
    }
}

int registrar_process_events_on_pipe(int read_fd, int drain) {
    std::size_t events = 0;
    while (take_notification(read_fd, drain, events) != 0) {
        if (wait_for_notification(read_fd) != 0) {
            return -1;
        }
    }
    deliver_waiting(read_fd, events);
    return 0;
}

void registrar_process_events_on_conn(int conn_fd) {
    const mutex_guard lock(table.guard);
    registrar_slot* const slot = find_slot([conn_fd](const registrar_slot& candidate) {
        return is_connected(candidate) && candidate.conn_fd == conn_fd;
    });
    if (slot != nullptr) {
        take_in(*slot);
    }
}

void registrar_give_memory_back() {
    {
        const mutex_guard lock(table.guard);
        if (!table.emptied) {
            return;
        }
        table.emptied = false;
    }
#if defined(__GLIBC__)
    // Events are allocated here and freed by their readers. The unused end of this thread's heap
    // is returned only when the thread itself frees something large, the rest only when asked for.
    void* volatile large = std::malloc(kLargeBlock);
    std::free(large);
    ::malloc_trim(0);
#endif
}

bool registrar_resubscribe_all_pending_subs() {
    const mutex_guard lock(table.guard);
    bool unfinished = false;
    for (registrar_slot& slot : table.slots) {
        if (slot.state == slot_state::pending || slot.state == slot_state::subscribing) {
            resubscribe(slot, now());
            unfinished = true;
        }
    }
    return unfinished;
}

} // namespace qxplix
