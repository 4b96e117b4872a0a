// Connects to the broker without the client library.
#pragma once

#include "base/protocol.h"

/// Returns a new connection to the broker, or -1 on failure.
static inline int connect_to_broker(void) {
    struct sockaddr_un address;
    const socklen_t length = qx_broker_address(&address);
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    return fd >= 0 && connect(fd, (const struct sockaddr*)&address, length) == 0 ? fd : -1;
}
