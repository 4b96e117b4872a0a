// Socket I/O with the broker, with a deadline and byte counts.
#pragma once

#include "clock.h"

#include <cstddef>
#include <sys/types.h>

namespace qxplix {

/// Scope of one exchange with the broker. While the object exists, calls of the functions below on
/// the same thread obey the deadline of the object and add to its byte counts. The deadline comes
/// from the timeout of qx_plix_set_timeout. A nested exchange takes the deadline of the outer one,
/// but has byte counts of its own. Without an exchange the functions have no time limit.
class exchange {
public:
    exchange();
    exchange(const exchange&) = delete;
    exchange& operator=(const exchange&) = delete;
    ~exchange();

    /// Monotonic time, or 0 for no deadline.
    [[nodiscard]] milliseconds deadline() const { return deadline_; }
    [[nodiscard]] std::size_t sent() const { return sent_; }
    [[nodiscard]] std::size_t received() const { return received_; }

    void count(ssize_t sent, ssize_t received);

private:
    exchange* outer_;
    milliseconds deadline_;
    std::size_t sent_ = 0;
    std::size_t received_ = 0;
};

/// Connects the socket `fd` to the broker like connect(2). Returns 0, or -1 with errno, which is
/// ETIMEDOUT if the deadline expires.
int exchange_connect(int fd);

/// Send or receive up to `size` bytes like send(2) and recv(2). In an exchange with a deadline, a
/// signal handler does not interrupt the call. Return the number of bytes, or -1 with errno, which
/// is ETIMEDOUT if the deadline expires.
ssize_t exchange_send(int fd, const void* bytes, std::size_t size);
ssize_t exchange_receive(int fd, void* bytes, std::size_t size);

} // namespace qxplix
