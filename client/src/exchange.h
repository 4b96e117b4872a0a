// One exchange with the broker on the calling thread, with its deadline and its byte counts.
#pragma once

#include "clock.h"

#include <cstddef>
#include <sys/types.h>

namespace qxplix {

/// While the object lives, the functions below, when called on the same thread, obey its deadline
/// and add to its byte counts. The timeout of qx_plix_set_timeout determines the deadline. Outside
/// an exchange the functions wait without a time limit.
/// An exchange inside another one has the deadline of the outer one.
class exchange {
public:
    exchange();
    exchange(const exchange&) = delete;
    exchange& operator=(const exchange&) = delete;
    ~exchange();

    [[nodiscard]] milliseconds deadline() const { return deadline_; } ///< 0 means none
    [[nodiscard]] std::size_t sent() const { return sent_; }
    [[nodiscard]] std::size_t received() const { return received_; }

    void count(ssize_t sent, ssize_t received);

private:
    exchange* outer_;
    milliseconds deadline_;
    std::size_t sent_ = 0;
    std::size_t received_ = 0;
};

/// Connects to the broker like connect(2). Returns 0, or -1 with errno, which is ETIMEDOUT when the
/// deadline has passed.
int exchange_connect(int fd);

/// Send or receive some of the bytes like send(2) and recv(2). In an exchange with a deadline, a
/// signal handler does not interrupt the call. Return the number of bytes, or -1 with errno, which
/// is ETIMEDOUT when the deadline has passed.
ssize_t exchange_send(int fd, const void* bytes, std::size_t size);
ssize_t exchange_receive(int fd, void* bytes, std::size_t size);

} // namespace qxplix
