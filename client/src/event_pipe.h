// The pipe that tells a subscriber, byte by byte, that events wait.
#pragma once

#include <cstddef>
#include <sys/types.h>

namespace qxplix {

/// Both ends are non-blocking and close-on-exec. The subscription is one user, and each thread that
/// waits at the read end is another: the descriptors stay open, and their numbers taken, until the
/// last of them releases the pipe.
struct event_pipe {
    int read_fd;
    int write_fd;
    int users;
};

/// A pipe with one user; null when none can be made.
event_pipe* event_pipe_create();

/// Gives up one use. The last one closes both ends and frees the pipe.
void event_pipe_release(event_pipe* pipe);

/// Writes up to `count` notification bytes; how many fitted.
std::size_t event_pipe_write(const event_pipe& pipe, std::size_t count);

/// Takes one notification byte, or every one when `drain` is not 0. 0 when there was one, else -1.
int event_pipe_read(const event_pipe& pipe, int drain);

/// Takes up to `count` notification bytes without waiting; how many there were, or -1 on an error.
ssize_t event_pipe_take(const event_pipe& pipe, std::size_t count);

/// Blocks until there is a notification byte. -1 on an error and when a signal interrupts. A
/// cancellation point.
int event_pipe_wait(const event_pipe& pipe);

} // namespace qxplix
