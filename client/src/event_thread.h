// The thread that waits on the subscriptions' connections.
#pragma once

namespace qxplix {

/// Starts the thread, which runs until is_stopped(). 0 or -1.
int event_thread_create();

/// Wakes the thread, which must have been told to stop, and waits for its end.
void event_thread_destroy();

/// Closes the descriptors of a thread that does not run in this process: it has ended, or this is a
/// forked child.
void event_thread_disown();

/// Makes the thread check the registrar's limits and retries now, without an event. Any thread.
void event_thread_wake();

/// Has the thread watch `fd` for input. 0 or -1. Any thread.
int event_thread_schedule_fd_ro(int fd);

/// Has it watch `fd` no longer. The result of epoll_ctl. Any thread.
int event_thread_cancel_fd(int fd);

} // namespace qxplix
