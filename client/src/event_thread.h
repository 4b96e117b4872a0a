// The thread that waits for input on the connections of the subscriptions.
#pragma once

namespace qxplix {

/// Starts the thread, which runs until is_stopped() returns true. Returns 0, or -1 with errno on
/// failure.
int event_thread_create();

/// Wakes the thread and waits for its end. Call set_stopped(true) first.
void event_thread_destroy();

/// Closes the thread's descriptors. Call it only if the thread does not run in this process: after
/// the thread has ended, or in a forked child.
void event_thread_disown();

/// Wakes the thread, which then applies the backlog limit and retries lost subscriptions. Safe to
/// call from any thread.
void event_thread_wake();

/// Makes the thread watch `fd` for input. Returns 0, or -1 with errno on failure. Safe to call from
/// any thread.
int event_thread_schedule_fd_ro(int fd);

/// Stops watching `fd`. Returns 0, or -1 with errno on failure. Safe to call from any thread.
int event_thread_cancel_fd(int fd);

} // namespace qxplix
