// The broker's wire protocol: a request is a line of JSON, a message of the broker is a length and
// as many bytes of JSON.
//
// Every function that returns -1 or null has recorded the failure (failure.h).
#pragma once

#include "base/descriptor.h"
#include "base/json.h"

#include <cstddef>
#include <jansson.h>

namespace qxplix {

/// A new connection to the broker, or -1 when none listens or its user is not accepted. `flags`
/// are socket type flags: with SOCK_NONBLOCK a broker whose backlog is full counts as gone.
int open_conn(int flags = 0);

/// Sends all of `buf`. -1 on the first failing send.
int send_sync(int fd, const void* buf, std::size_t len);

/// Fills all of `buf`; 0 bytes cannot be received. -1 on an error or the end of the stream.
int recv_sync(int fd, void* buf, std::size_t len);

/// Sends one request; `data` may be null and stays the caller's. 0 or -1.
int send_request(int fd, const char* type, const char* name, json_t* data);

/// Receives one message. The caller frees the text with free(); null on failure.
char* recv_msg(int fd);

/// 0 when a response's text says so, else -1. "data", if there is any, is stored as text through
/// `data_out`, unless null, in both cases; the caller frees it with free().
int read_response(const char* text, char** data_out);

/// Receives one response and reads it.
int recv_response(int fd, char** data_out);

/// Connects `conn` to the broker, sends one request and receives the response, all before the
/// deadline of qx_plix_set_timeout. `type` is "command" or "subscribe"; the rest is as for
/// send_request and read_response. 0 or -1.
int converse(qx::io::descriptor& conn, const char* type, const char* name, json_t* data,
             char** data_out);

/// One command on a connection of its own: `data` as for send_request, `data_out` as for
/// read_response. 0 or -1.
int send_command(const char* name, json_t* data, char** data_out);

/// Sets a text in an object. -1 also when it is not UTF-8.
int json_set_string(json_t* object, const char* key, const char* value);

} // namespace qxplix
