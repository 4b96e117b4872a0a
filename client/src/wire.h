// The broker's wire protocol. A request is one line of JSON. A message from the broker is a 32-bit
// length in host byte order, followed by that many bytes of JSON.
//
// Functions return 0 on success. On failure they return -1 and record the failure (failure.h),
// unless stated otherwise.
#pragma once

#include "base/descriptor.h"
#include "base/json.h"

#include <cstddef>
#include <jansson.h>

namespace qxplix {

/// Connects to the broker. `flags` are flags for the type argument of socket(2): with SOCK_NONBLOCK
/// the call fails if the broker's listen backlog is full. Returns the descriptor, which the caller
/// closes, or -1 if it cannot connect or the broker runs as a user that is not accepted (trust.h).
int open_conn(int flags = 0);

/// Sends all `len` bytes of `buf`.
int send_sync(int fd, const void* buf, std::size_t len);

/// Receives exactly `len` bytes, which must not be 0. Fails at EOF.
int recv_sync(int fd, void* buf, std::size_t len);

/// Sends one request. `data` stays owned by the caller; if `data` is null, the request has no data.
int send_request(int fd, const char* type, const char* name, json_t* data);

/// Receives one message. Returns its zero-terminated text, which the caller frees with free(), or
/// null on failure.
char* recv_msg(int fd);

/// Parses a response. Succeeds if the status in the response is 0. If `data_out` is not null,
/// stores the response's data, if any, as a JSON text, even if the broker refused the request. The
/// caller frees the text with free().
int read_response(const char* text, char** data_out);

/// Receives one response and parses it with read_response.
int recv_response(int fd, char** data_out);

/// Opens `conn` to the broker, sends one request and receives the response, within the timeout of
/// qx_plix_set_timeout. `type` is "command" or "subscribe". The other arguments are those of
/// send_request and read_response.
int converse(qx::io::descriptor& conn, const char* type, const char* name, json_t* data,
             char** data_out);

/// Sends one command on its own connection and receives the response, like converse.
int send_command(const char* name, json_t* data, char** data_out);

/// Sets the member `key` of an object to the string `value`. Fails if memory runs out or `value` is
/// not UTF-8. Records no failure.
int json_set_string(json_t* object, const char* key, const char* value);

} // namespace qxplix
