#include "event_thread.h"

#include "base/descriptor.h"
#include "base/epoll.h"
#include "heap.h"
#include "registrar.h"
#include "state.h"

#include <cerrno>
#include <csignal>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>

namespace qxplix {
namespace {

constexpr int kMostEvents = 8;
constexpr int kIdleTimeout = 1000; ///< ms; the longest wait before the thread checks is_stopped()
constexpr int kRetryTimeout = 200; ///< ms, while a subscription has no connection

// The thread and its callbacks parse JSON, and the recursive parser may need a deep stack. Unused
// stack costs no memory.
constexpr std::size_t kLeastStackSize = std::size_t{1024} * 1024;

struct event_thread {
    int epoll_fd;
    int wake_fd; ///< eventfd that wakes the thread
    pthread_t handle;
};

event_thread self{-1, -1, {}};

void handle(int fd) {
    if (fd != self.wake_fd) {
        registrar_process_events_on_conn(fd);
        return;
    }
    eventfd_t value = 0;
    ::eventfd_read(fd, &value);
}

void* event_thread_main(void* /*unused*/) {
    int timeout = kIdleTimeout;
    while (!is_stopped()) {
        epoll_event ready[kMostEvents];
        const int count = ::epoll_wait(self.epoll_fd, ready, kMostEvents, timeout);
        if (count < 0 && errno != EINTR) {
            break;
        }
        for (int i = 0; i < count && !is_stopped(); ++i) {
            handle(ready[i].data.fd);
        }
        if (is_stopped()) {
            break;
        }
        if (count == 0 && registrar_was_emptied()) {
            return_free_memory();
        }
        timeout = registrar_finish_pass() ? kRetryTimeout : kIdleTimeout;
    }
    return nullptr;
}

// The thread blocks all signals, which leaves them to the application's threads and signalfds.
int create_without_signals(pthread_t* handle) {
    pthread_attr_t attributes;
    if (::pthread_attr_init(&attributes) != 0) {
        return -1;
    }
    std::size_t stack_size = 0;
    ::pthread_attr_getstacksize(&attributes, &stack_size);
    if (stack_size < kLeastStackSize) {
        ::pthread_attr_setstacksize(&attributes, kLeastStackSize);
    }
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    const int result = ::pthread_create(handle, &attributes, event_thread_main, nullptr);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    ::pthread_attr_destroy(&attributes);
    errno = result;
    return result == 0 ? 0 : -1;
}

} // namespace

int event_thread_create() {
    qx::io::descriptor epoll(::epoll_create1(EPOLL_CLOEXEC));
    qx::io::descriptor wake(epoll ? ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK) : -1);
    if (!wake) {
        return -1;
    }
    self.epoll_fd = epoll.release();
    self.wake_fd = wake.release();
    if (qx::io::epoll_control(self.epoll_fd, EPOLL_CTL_ADD, self.wake_fd, EPOLLIN) != 0 ||
        create_without_signals(&self.handle) != 0) {
        event_thread_disown();
        return -1;
    }
    return 0;
}

void event_thread_wake() {
    ::eventfd_write(self.wake_fd, 1);
}

void event_thread_destroy() {
    event_thread_wake();
    ::pthread_join(self.handle, nullptr);
    event_thread_disown();
}

void event_thread_disown() {
    qx::io::close_fd(self.wake_fd);
    qx::io::close_fd(self.epoll_fd);
}

int event_thread_schedule_fd_ro(int fd) {
    return qx::io::epoll_set_fd(self.epoll_fd, fd, EPOLLIN);
}

int event_thread_cancel_fd(int fd) {
    return ::epoll_ctl(self.epoll_fd, EPOLL_CTL_DEL, fd, nullptr);
}

} // namespace qxplix
