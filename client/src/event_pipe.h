// The pipe that tells a subscriber, byte by byte, that events wait.
#pragma once

#include <cstddef>

namespace qxplix {

/// Both ends are non-blocking and close-on-exec; -1 and -1 stand for no pipe.
struct event_pipe {
    int read_fd;
    int write_fd;
};

inline constexpr event_pipe kNoPipe{-1, -1};

/// 0, or -1 when no pipe can be made.
int event_pipe_create(event_pipe* pipe);

/// Writes up to `count` notification bytes; how many fitted.
std::size_t event_pipe_write(const event_pipe* pipe, std::size_t count);

/// Takes one notification byte, or every one when `drain` is not 0. 0 when there was one, else -1.
int event_pipe_read(const event_pipe* pipe, int drain);

/// Blocks until there is a notification byte at `read_fd`. -1 when there will be none any more, on
/// an error and when a signal interrupts.
int event_pipe_wait(int read_fd);

/// Closes both ends, which wakes whoever waits for a byte. The result of the second close.
int event_pipe_destroy(event_pipe* pipe);

} // namespace qxplix
