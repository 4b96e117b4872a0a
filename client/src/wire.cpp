#include "wire.h"

#include "base/protocol.h"
#include "exchange.h"
#include "failure.h"
#include "frame_reader.h"
#include "request_trace.h"
#include "trust.h"

#include <cstdint>
#include <cstring>

namespace qxplix {
namespace {

int fail_bad_reply(const char* detail) {
    return fail(QX_PLIX_STAGE_BAD_REPLY, "the broker's reply cannot be understood", detail);
}

// A frame is broken if its length is invalid or if memory for its body ran out.
int fail_broken_frame(const frame_reader& reader) {
    std::int32_t length = 0;
    std::memcpy(&length, reader.header, sizeof length);
    return qx_is_message_length(length) != 0 ? fail_for_memory()
                                             : fail_bad_reply("its length is out of range");
}

const char* text_of(const json_t* details, const char* key) {
    return json_string_value(json_object_get(details, key));
}

// The broker's reason is the "description" or the "error" of the data, or the data itself.
int fail_with_reason(const json_t* data) {
    const char* description = text_of(data, "description");
    if (description == nullptr) {
        description = text_of(data, "error");
    }
    if (description == nullptr) {
        description = json_string_value(data);
    }
    const json_t* const code = json_object_get(data, "code");
    const json_int_t number = json_integer_value(code);
    const bool fits = json_is_integer(code) && number >= INT32_MIN && number <= INT32_MAX;
    return fail_refused({description, fits, fits ? static_cast<std::int32_t>(number) : 0});
}

} // namespace

int open_conn(int flags) {
    qx::io::descriptor conn(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0));
    if (!conn || exchange_connect(conn.get()) != 0) {
        return fail_with_errno(QX_PLIX_STAGE_CONNECTION, "cannot connect to the broker");
    }
    if (!is_trusted_broker(conn.get())) {
        return fail(QX_PLIX_STAGE_CONNECTION,
                    "the process that listens on the broker's socket runs as another user");
    }
    return conn.release();
}

int send_sync(int fd, const void* buf, std::size_t len) {
    const char* at = static_cast<const char*>(buf);
    while (len > 0) {
        const ssize_t sent = exchange_send(fd, at, len);
        if (sent < 0) {
            return fail_with_errno(QX_PLIX_STAGE_CONNECTION, "cannot send the request");
        }
        at += sent;
        len -= static_cast<std::size_t>(sent);
    }
    return 0;
}

int recv_sync(int fd, void* buf, std::size_t len) {
    char* at = static_cast<char*>(buf);
    do {
        const ssize_t received = exchange_receive(fd, at, len);
        if (received == 0) {
            return fail(QX_PLIX_STAGE_CONNECTION, "the broker closed the connection");
        }
        if (received < 0) {
            return fail_with_errno(QX_PLIX_STAGE_CONNECTION, "cannot receive the broker's reply");
        }
        at += received;
        len -= static_cast<std::size_t>(received);
    } while (len > 0);
    return 0;
}

int json_set_string(json_t* object, const char* key, const char* value) {
    json_t* const text = json_string(value);
    return text == nullptr ? -1 : json_object_set_new(object, key, text);
}

int send_request(int fd, const char* type, const char* name, json_t* data) {
    const qx::json_ptr request(json_object());
    if (!request || json_set_string(request.get(), "type", type) != 0 ||
        json_set_string(request.get(), "name", name) != 0) {
        return fail_for_memory();
    }
    if (data != nullptr && json_object_set(request.get(), "data", data) != 0) {
        return fail_for_memory();
    }
    const qx::text_ptr text(json_dumps(request.get(), 0));
    if (!text) {
        return fail_for_memory();
    }
    const int sent = send_sync(fd, text.get(), std::strlen(text.get()));
    return sent == 0 ? send_sync(fd, "\n", 1) : sent;
}

char* recv_msg(int fd) {
    frame_reader reader{};
    frame_state state = frame_state::incomplete;
    while (state == frame_state::incomplete) {
        const byte_gap gap = frame_reader_gap(reader);
        if (recv_sync(fd, gap.data, gap.size) != 0) {
            frame_reader_reset(reader);
            return nullptr;
        }
        state = frame_reader_fill(reader, gap.size);
    }
    if (state == frame_state::complete) {
        return frame_reader_take(reader);
    }
    fail_broken_frame(reader);
    frame_reader_reset(reader);
    return nullptr;
}

int read_response(const char* text, char** data_out) {
    json_error_t error;
    const qx::json_ptr response(json_loads(text, 0, &error));
    if (!response) {
        return json_error_code(&error) == json_error_out_of_memory ? fail_for_memory()
                                                                   : fail_bad_reply(error.text);
    }
    const json_t* const status = json_object_get(response.get(), "status");
    const json_t* const data = json_object_get(response.get(), "data");
    if (data_out != nullptr && data != nullptr) {
        char* const data_text = json_dumps(data, JSON_ENCODE_ANY);
        if (data_text == nullptr) {
            return fail_for_memory();
        }
        *data_out = data_text;
    }
    if (status == nullptr) {
        return fail_bad_reply("it has no \"status\"");
    }
    // A status that is not an integer counts as 0.
    const bool accepted = static_cast<std::int32_t>(json_integer_value(status)) == 0;
    return accepted ? 0 : fail_with_reason(data);
}

int recv_response(int fd, char** data_out) {
    const qx::text_ptr text(recv_msg(fd));
    return text ? read_response(text.get(), data_out) : -1;
}

int converse(qx::io::descriptor& conn, const char* type, const char* name, json_t* data,
             char** data_out) {
    request_trace trace(name);
    const exchange talk;
    conn.reset(open_conn());
    const bool is_sent = conn && send_request(conn.get(), type, name, data) == 0;
    const int result = is_sent ? recv_response(conn.get(), data_out) : -1;
    trace.end(talk, result);
    return result;
}

int send_command(const char* name, json_t* data, char** data_out) {
    qx::io::descriptor conn;
    return converse(conn, "command", name, data, data_out);
}

} // namespace qxplix
