// The pipe that notifies a subscriber of waiting events, with one byte per event.
#pragma once

#include <cstddef>
#include <sys/types.h>

namespace qxplix {

/// A reference-counted pipe whose ends are non-blocking and close-on-exec. The subscription holds
/// one reference, and so does each thread that uses the pipe. The descriptors stay open until the
/// last reference is dropped, so their numbers cannot be recycled under a waiting thread.
struct event_pipe {
    int read_fd;
    int write_fd;
    int references;
};

/// Creates a pipe with one reference. Returns null on failure.
event_pipe* event_pipe_create();

/// Drops one reference. The last release closes both ends and frees the pipe.
void event_pipe_release(event_pipe* pipe);

/// Writes up to `count` notification bytes without waiting. Returns the number of bytes written.
std::size_t event_pipe_write(const event_pipe& pipe, std::size_t count);

/// Reads up to `count` notification bytes without waiting. Returns the number of bytes read, 0 if
/// the pipe is empty, or -1 on an error.
ssize_t event_pipe_read(const event_pipe& pipe, std::size_t count);

/// Waits until the pipe holds a notification byte. Returns 0, or -1 on an error or if a signal
/// interrupts the wait. The call is a cancellation point.
int event_pipe_wait(const event_pipe& pipe);

} // namespace qxplix
