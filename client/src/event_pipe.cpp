#include "event_pipe.h"

#include "base/descriptor.h"
#include "base/retry.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace qxplix {

event_pipe* event_pipe_create() {
    auto* const pipe = static_cast<event_pipe*>(std::malloc(sizeof(event_pipe)));
    int ends[2] = {-1, -1};
    if (pipe == nullptr || ::pipe2(ends, O_NONBLOCK | O_CLOEXEC) != 0) {
        std::free(pipe);
        return nullptr;
    }
    *pipe = {ends[0], ends[1], 1};
    return pipe;
}

void event_pipe_release(event_pipe* pipe) {
    if (--pipe->references > 0) {
        return;
    }
    qx::io::close_fd(pipe->read_fd);
    qx::io::close_fd(pipe->write_fd);
    std::free(pipe);
}

std::size_t event_pipe_write(const event_pipe& pipe, std::size_t count) {
    char bytes[512];
    std::memset(bytes, '.', sizeof bytes);
    std::size_t done = 0;
    while (done < count) {
        const std::size_t part = count - done < sizeof bytes ? count - done : sizeof bytes;
        const ssize_t written = ::write(pipe.write_fd, bytes, part);
        if (written <= 0) {
            break;
        }
        done += static_cast<std::size_t>(written);
    }
    return done;
}

ssize_t event_pipe_read(const event_pipe& pipe, std::size_t count) {
    char bytes[4096];
    std::size_t done = 0;
    while (done < count) {
        const std::size_t part = count - done < sizeof bytes ? count - done : sizeof bytes;
        const ssize_t taken =
            qx::io::uninterrupted([&] { return ::read(pipe.read_fd, bytes, part); });
        if (taken < 0) {
            return errno == EAGAIN ? static_cast<ssize_t>(done) : -1;
        }
        done += static_cast<std::size_t>(taken);
        if (static_cast<std::size_t>(taken) < part) {
            break;
        }
    }
    return static_cast<ssize_t>(done);
}

int event_pipe_wait(const event_pipe& pipe) {
    pollfd polled{pipe.read_fd, POLLIN, 0};
    return ::poll(&polled, 1, -1) > 0 && (polled.revents & POLLIN) != 0 ? 0 : -1;
}

} // namespace qxplix
