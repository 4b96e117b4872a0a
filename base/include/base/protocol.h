// The broker's protocol: where the broker listens and what a message may be. C and C++.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>

#define QX_PROTOCOL_VERSION "1.3"

/// The name of the broker's socket in the abstract namespace.
#define QX_BROKER_SOCKET ":qxbrokerd-" QX_PROTOCOL_VERSION ".skt"

/// The largest body of a message in bytes. A larger length means that the stream is broken.
#define QX_MOST_MESSAGE_BYTES (64 * 1024 * 1024)

/// Whether the body of a message may have this length.
static inline int qx_is_message_length(int32_t length) {
    return length > 0 && length <= QX_MOST_MESSAGE_BYTES;
}

/// Fills `address` with the broker's address; returns its length for connect() and bind().
static inline socklen_t qx_broker_address(struct sockaddr_un* address) {
    memset(address, 0, sizeof *address);
    address->sun_family = AF_UNIX;
    // The first byte of the path stays zero: the abstract namespace. No terminator is counted.
    memcpy(address->sun_path + 1, QX_BROKER_SOCKET, sizeof QX_BROKER_SOCKET - 1);
    return (socklen_t)(offsetof(struct sockaddr_un, sun_path) + sizeof QX_BROKER_SOCKET);
}
