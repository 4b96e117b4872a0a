#include "event_pipe.h"

#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace qxplix {

int event_pipe_create(event_pipe* pipe) {
    int ends[2] = {-1, -1};
    if (::pipe2(ends, O_NONBLOCK | O_CLOEXEC) != 0) {
        return -1;
    }
    *pipe = {ends[0], ends[1]};
    return 0;
}

std::size_t event_pipe_write(const event_pipe* pipe, std::size_t count) {
    char bytes[512];
    std::memset(bytes, '.', sizeof bytes);
    std::size_t done = 0;
    while (done < count) {
        const std::size_t part = count - done < sizeof bytes ? count - done : sizeof bytes;
        const ssize_t written = ::write(pipe->write_fd, bytes, part);
        if (written <= 0) {
            break;
        }
        done += static_cast<std::size_t>(written);
    }
    return done;
}

int event_pipe_read(const event_pipe* pipe, int drain) {
    char bytes[4096];
    const std::size_t wanted = drain == 0 ? 1 : sizeof bytes;
    ssize_t taken = ::read(pipe->read_fd, bytes, wanted);
    if (taken <= 0) {
        return -1;
    }
    while (drain != 0 && taken == sizeof bytes) {
        taken = ::read(pipe->read_fd, bytes, wanted);
    }
    return 0;
}

int event_pipe_wait(int read_fd) {
    pollfd polled{read_fd, POLLIN, 0};
    return ::poll(&polled, 1, -1) > 0 && (polled.revents & POLLIN) != 0 ? 0 : -1;
}

int event_pipe_destroy(event_pipe* pipe) {
    if (pipe->read_fd == -1) {
        return 0;
    }
    ::close(pipe->read_fd);
    const int result = ::close(pipe->write_fd);
    *pipe = kNoPipe;
    return result;
}

} // namespace qxplix
