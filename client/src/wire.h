// The broker's wire protocol: a request is a line of JSON; a message of the broker is a length
// followed by that many bytes of JSON.
//
// Functions return 0 on success and -1 on failure, and record a failure (failure.h) unless stated
// otherwise.
#pragma once

#include "base/descriptor.h"
#include "base/json.h"

#include <cstddef>
#include <jansson.h>

namespace qxplix {

/// Returns a new connection to the broker, which the caller closes, or -1 if no process listens or
/// its user is not accepted. `flags` are socket type flags: with SOCK_NONBLOCK the call also fails
/// if the broker's listen backlog is full.
int open_conn(int flags = 0);

/// Sends all of `buf`.
int send_sync(int fd, const void* buf, std::size_t len);

/// Receives exactly `len` bytes, which must not be 0. Fails at EOF.
int recv_sync(int fd, void* buf, std::size_t len);

/// Sends one request. The caller keeps `data`; without it (null) the request has no data.
int send_request(int fd, const char* type, const char* name, json_t* data);

/// Returns one received message, which the caller frees with free(), or null on failure.
char* recv_msg(int fd);

/// Parses a response. Returns 0 if its status is 0. Stores the response's data, if any, as a text
/// in `data_out`, which may be null, even if the broker refused the request. The caller frees the
/// text with free().
int read_response(const char* text, char** data_out);

/// Receives one response and parses it with read_response.
int recv_response(int fd, char** data_out);

/// Connects `conn` to the broker, sends one request and receives the response, all before the
/// deadline of qx_plix_set_timeout. `type` is "command" or "subscribe"; the other arguments are
/// those of send_request and read_response.
int converse(qx::io::descriptor& conn, const char* type, const char* name, json_t* data,
             char** data_out);

/// Sends one command on its own connection and receives the response, like converse.
int send_command(const char* name, json_t* data, char** data_out);

/// Sets a text in an object. Fails if memory runs out or the text is not UTF-8. Records no failure.
int json_set_string(json_t* object, const char* key, const char* value);

} // namespace qxplix
