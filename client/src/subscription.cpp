#include "subscription.h"

#include "base/descriptor.h"
#include "event_thread.h"
#include "failure.h"
#include "wire.h"

#include <cerrno>
#include <cstring>
#include <sys/socket.h>

namespace qxplix {
namespace {

// Bytes received per call. The limit keeps a flood of events from starving other connections and
// other threads.
constexpr std::size_t kMostPerReport = std::size_t{256} * 1024;

void close_connection(subscription& slot) {
    event_thread_cancel_fd(slot.conn_fd);
    // A forked child may hold a copy of the descriptor, which would keep the connection open.
    ::shutdown(slot.conn_fd, SHUT_RDWR);
    qx::io::close_fd(slot.conn_fd);
    frame_reader_reset(slot.reader);
}

__thread bool in_callback = false;

void run_callback(const subscription& slot, const char* message) {
    clear_failure(); // so that the callback sees only failures of its own calls
    in_callback = true;
    slot.callback(message, slot.user_data);
    in_callback = false;
}

void deliver_to_callback(subscription& slot, char* message) {
    run_callback(slot, message);
    std::free(message);
}

void deliver_to_pipe(subscription& slot, char* message, std::size_t size) {
    const event_node* const node = event_queue_enqueue(slot.queue, message, size + 1);
    if (node == nullptr) {
        return;
    }
    ++slot.waiting;
    ++slot.unannounced;
    slot.queued += node->size();
    slot.most_queued = slot.most_queued < slot.queued ? slot.queued : slot.most_queued;
}

bool take_message(subscription& slot) {
    const std::size_t size = slot.reader.body_size;
    char* const message = frame_reader_take(slot.reader);
    if (slot.state == subscription_state::active) {
        if (slot.pipe != nullptr) {
            deliver_to_pipe(slot, message, size);
        } else {
            deliver_to_callback(slot, message);
        }
        return true;
    }
    const qx::text_ptr response(message);
    if (read_response(response.get(), nullptr) != 0) {
        return false;
    }
    slot.state = subscription_state::active;
    return true;
}

bool handle(subscription& slot, frame_state state) {
    return state == frame_state::complete ? take_message(slot) : state == frame_state::incomplete;
}

bool handle_all(subscription& slot, byte_range in) {
    while (in.size > 0) {
        if (!handle(slot, frame_reader_feed(slot.reader, in))) {
            return false;
        }
    }
    return true;
}

// Stores in `size` the number of bytes received. Returns false if the connection is lost.
bool receive_into(byte_gap room, int fd, std::size_t& size) {
    const std::size_t wanted = room.size < kMostPerReport ? room.size : kMostPerReport;
    const ssize_t result = ::recv(fd, room.data, wanted, MSG_DONTWAIT);
    size = result > 0 ? static_cast<std::size_t>(result) : 0;
    return result > 0 || (result < 0 && (errno == EAGAIN || errno == EINTR));
}

bool receive_bulk(subscription& slot, byte_gap scratch) {
    std::size_t size = 0;
    for (std::size_t total = 0; total < kMostPerReport; total += size) {
        const byte_gap gap = frame_reader_gap(slot.reader);
        const bool in_place = gap.size >= scratch.size;
        const byte_gap room = in_place ? gap : scratch;
        if (!receive_into(room, slot.conn_fd, size) ||
            !(in_place ? handle(slot, frame_reader_fill(slot.reader, size))
                       : handle_all(slot, {room.data, size}))) {
            return false;
        }
        if (size < room.size) {
            break;
        }
    }
    return true;
}

// Receives at most one event. Later events stay in the socket: level-triggered epoll reports the
// socket again after the other connections.
bool receive_one(subscription& slot) {
    frame_state state = frame_state::incomplete;
    for (int part = 0; part < 2 && state == frame_state::incomplete; ++part) {
        std::size_t size = 0;
        if (!receive_into(frame_reader_gap(slot.reader), slot.conn_fd, size)) {
            return false;
        }
        state = frame_reader_fill(slot.reader, size);
    }
    return handle(slot, state);
}

} // namespace

int subscription_open(subscription& slot, const char* event_name, qx_plix_event_cb callback,
                      void* user_data, event_pipe* pipe, int conn_fd) {
    if (event_thread_schedule_fd_ro(conn_fd) != 0) {
        return -1;
    }
    slot.queue = {};
    slot.state = subscription_state::active;
    slot.ended = false;
    slot.watched = true;
    slot.conn_fd = conn_fd;
    const std::size_t length = ::strnlen(event_name, sizeof slot.event_name - 1);
    std::memcpy(slot.event_name, event_name, length);
    slot.event_name[length] = '\0';
    slot.pipe = pipe;
    slot.callback = callback;
    slot.user_data = user_data;
    slot.waiting = 0;
    slot.queued = 0;
    slot.most_queued = 0;
    slot.unannounced = 0;
    slot.reader = {};
    return 0;
}

void subscription_close(subscription& slot) {
    event_queue_destroy(slot.queue);
    if (slot.pipe != nullptr) {
        event_pipe_write(*slot.pipe, 1);
        event_pipe_release(slot.pipe);
        slot.pipe = nullptr;
    }
    if (is_connected(slot)) {
        close_connection(slot);
    }
    slot.state = subscription_state::free;
}

void subscription_disown(subscription& slot) {
    if (slot.state == subscription_state::free) {
        return;
    }
    if (is_connected(slot)) {
        qx::io::close_fd(slot.conn_fd);
    }
    if (slot.pipe != nullptr) {
        qx::io::close_fd(slot.pipe->read_fd);
        qx::io::close_fd(slot.pipe->write_fd);
        slot.pipe = nullptr;
    }
    slot.state = subscription_state::free;
}

void subscription_lose(subscription& slot) {
    close_connection(slot);
    slot.state = subscription_state::pending;
}

void subscription_begin_again(subscription& slot, milliseconds time) {
    slot.attempted_at = time;
    qx::io::descriptor conn(open_conn(SOCK_NONBLOCK));
    if (!conn || send_request(conn.get(), "subscribe", slot.event_name, nullptr) != 0 ||
        event_thread_schedule_fd_ro(conn.get()) != 0) {
        return;
    }
    slot.conn_fd = conn.release();
    slot.watched = true;
    slot.state = subscription_state::subscribing;
}

void subscription_watch(subscription& slot, bool watched) {
    if (slot.watched != watched && (watched ? event_thread_schedule_fd_ro(slot.conn_fd)
                                            : event_thread_cancel_fd(slot.conn_fd)) == 0) {
        slot.watched = watched;
    }
}

bool subscription_receive(subscription& slot, byte_gap scratch) {
    const bool has_queue = slot.pipe != nullptr;
    return has_queue ? receive_bulk(slot, scratch) : receive_one(slot);
}

void subscription_announce(subscription& slot) {
    if (slot.unannounced > 0) {
        slot.unannounced -= event_pipe_write(*slot.pipe, slot.unannounced);
    }
}

bool subscription_deliver(subscription& slot) {
    event_node* const node = event_queue_dequeue(slot.queue);
    if (node == nullptr) {
        return false;
    }
    --slot.waiting;
    slot.queued -= node->size();
    run_callback(slot, node->message);
    event_node_destroy(node, slot.queue);
    return true;
}

bool is_in_callback() {
    return in_callback;
}

} // namespace qxplix
