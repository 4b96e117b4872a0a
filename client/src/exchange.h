// An exchange with the broker on the calling thread, with a deadline and byte counts.
#pragma once

#include "clock.h"

#include <cstddef>
#include <sys/types.h>

namespace qxplix {

/// Sets a deadline, from the timeout of qx_plix_set_timeout, and counts bytes: while the object
/// lives, the functions below obey its deadline and add to its counts on the same thread. A nested
/// exchange has the deadline of the outer one. Without an exchange the functions wait without a
/// time limit.
class exchange {
public:
    exchange();
    exchange(const exchange&) = delete;
    exchange& operator=(const exchange&) = delete;
    ~exchange();

    [[nodiscard]] milliseconds deadline() const { return deadline_; } ///< 0 if there is none
    [[nodiscard]] std::size_t sent() const { return sent_; }
    [[nodiscard]] std::size_t received() const { return received_; }

    void count(ssize_t sent, ssize_t received);

private:
    exchange* outer_;
    milliseconds deadline_;
    std::size_t sent_ = 0;
    std::size_t received_ = 0;
};

/// Connects to the broker like connect(2). Returns 0, or -1 with errno, which is ETIMEDOUT if the
/// deadline expires.
int exchange_connect(int fd);

/// Send or receive some of the bytes like send(2) and recv(2). In an exchange with a deadline, a
/// signal handler does not interrupt the call. Return the number of bytes, or -1 with errno, which
/// is ETIMEDOUT if the deadline expires.
ssize_t exchange_send(int fd, const void* bytes, std::size_t size);
ssize_t exchange_receive(int fd, void* bytes, std::size_t size);

} // namespace qxplix
