// The broker's protocol: the address of its socket and the limits of a message, for C and C++.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>

/// The version of the protocol. The broker's version file contains exactly this text.
#define QX_PROTOCOL_VERSION "1.3"

/// The name of the broker's socket in the abstract namespace.
#define QX_BROKER_SOCKET ":qxbrokerd-" QX_PROTOCOL_VERSION ".skt"

/// The largest valid body of a message from the broker, in bytes.
#define QX_MOST_MESSAGE_BYTES (64 * 1024 * 1024)

/// Returns 1 if a message may have a body of `length` bytes, else 0.
static inline int qx_is_message_length(int32_t length) {
    return length > 0 && length <= QX_MOST_MESSAGE_BYTES;
}

/// Stores the address of the broker's socket in `address`, which must not be null. Returns the
/// length to pass to connect(2) or bind(2).
static inline socklen_t qx_broker_address(struct sockaddr_un* address) {
    memset(address, 0, sizeof *address);
    address->sun_family = AF_UNIX;
    // A leading zero byte selects the abstract namespace, whose names have no terminator.
    memcpy(address->sun_path + 1, QX_BROKER_SOCKET, sizeof QX_BROKER_SOCKET - 1);
    return (socklen_t)(offsetof(struct sockaddr_un, sun_path) + sizeof QX_BROKER_SOCKET);
}
