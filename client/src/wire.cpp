#include "wire.h"

#include "base/descriptor.h"
#include "base/protocol.h"
#include "frame_reader.h"
#include "trust.h"

#include <cstring>

namespace qxplix {
int open_conn(int flags) {
    qx::io::descriptor conn(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0));
    if (!conn) {
        return -1;
    }
    sockaddr_un address{};
    const socklen_t length = qx_broker_address(&address);
    if (::connect(conn.get(), reinterpret_cast<const sockaddr*>(&address), length) != 0 ||
        !is_trusted_broker(conn.get())) {
        return -1;
    }
    return conn.release();
}

int send_sync(int fd, const void* buf, std::size_t len) {
    const char* at = static_cast<const char*>(buf);
    while (len > 0) {
        const ssize_t sent = ::send(fd, at, len, MSG_NOSIGNAL);
        if (sent < 0) {
            return -1;
        }
        at += sent;
        len -= static_cast<std::size_t>(sent);
    }
    return 0;
}

int recv_sync(int fd, void* buf, std::size_t len) {
    char* at = static_cast<char*>(buf);
    do {
        const ssize_t received = ::recv(fd, at, len, 0);
        if (received < 1) {
            return -1;
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
        return -1;
    }
    if (data != nullptr && json_object_set(request.get(), "data", data) != 0) {
        return -1;
    }
    const qx::text_ptr text(json_dumps(request.get(), 0));
    if (!text || send_sync(fd, text.get(), std::strlen(text.get())) != 0) {
        return -1;
    }
    return send_sync(fd, "\n", 1);
}

char* recv_msg(int fd) {
    frame_reader reader{};
    frame_state state = frame_state::incomplete;
    while (state == frame_state::incomplete) {
        const byte_gap gap = frame_reader_gap(reader);
        state = recv_sync(fd, gap.data, gap.size) == 0 ? frame_reader_fill(reader, gap.size)
                                                       : frame_state::broken;
    }
    if (state == frame_state::complete) {
        return frame_reader_take(reader);
    }
    frame_reader_reset(reader);
    return nullptr;
}

int read_response(const char* text, char** data_out) {
    const qx::json_ptr response(json_loads(text, 0, nullptr));
    if (!response) {
        return -1;
    }
    const json_t* const status = json_object_get(response.get(), "status");
    const json_t* const data = json_object_get(response.get(), "data");
    if (data_out != nullptr && data != nullptr) {
        char* const data_text = json_dumps(data, JSON_ENCODE_ANY);
        if (data_text == nullptr) {
            return -1;
        }
        *data_out = data_text;
    }
    if (status == nullptr) {
        return -1;
    }
    // A status that is no integer reads as 0.
    return static_cast<std::int32_t>(json_integer_value(status)) == 0 ? 0 : -1;
}

int recv_response(int fd, char** data_out) {
    const qx::text_ptr text(recv_msg(fd));
    return text ? read_response(text.get(), data_out) : -1;
}

int send_command(const char* name, json_t* data, char** data_out) {
    const qx::io::descriptor conn(open_conn());
    if (!conn || send_request(conn.get(), "command", name, data) != 0) {
        return -1;
    }
    return recv_response(conn.get(), data_out);
}

} // namespace qxplix
