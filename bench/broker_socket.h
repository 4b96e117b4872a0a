// Where the broker listens, for programs that know nothing of the client library.
#pragma once

#include <stddef.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>

#define BROKER_SOCKET_NAME ":qxbrokerd-1.3.skt"

/// Fills `address` with the broker's abstract name; returns the length for connect() and bind().
static inline socklen_t broker_address(struct sockaddr_un* address) {
    memset(address, 0, sizeof *address);
    address->sun_family = AF_UNIX;
    memcpy(address->sun_path + 1, BROKER_SOCKET_NAME, sizeof BROKER_SOCKET_NAME - 1);
    return (socklen_t)(offsetof(struct sockaddr_un, sun_path) + sizeof BROKER_SOCKET_NAME);
}

/// A new connection to the broker, or -1.
static inline int connect_to_broker(void) {
    struct sockaddr_un address;
    const socklen_t length = broker_address(&address);
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    return fd >= 0 && connect(fd, (const struct sockaddr*)&address, length) == 0 ? fd : -1;
}
