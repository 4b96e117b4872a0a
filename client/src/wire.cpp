#include "wire.h"

#include "trust.h"

#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>

namespace qxplix {
namespace {

constexpr char kSocketName[] = ":qxbrokerd-1.3.skt";
constexpr std::size_t kSocketNameLength = sizeof kSocketName - 1;

// The first byte of the path stays zero: that is the abstract namespace. No terminator is counted.
constexpr socklen_t kAddressLength = offsetof(sockaddr_un, sun_path) + 1 + kSocketNameLength;

} // namespace

int open_conn(int flags) {
    fd_handle conn(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0));
    if (!conn) {
        return -1;
    }
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path + 1, kSocketName, kSocketNameLength);
    if (::connect(conn.get(), reinterpret_cast<const sockaddr*>(&address), kAddressLength) != 0 ||
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
    const json_handle request(json_object());
    if (!request || json_set_string(request.get(), "type", type) != 0 ||
        json_set_string(request.get(), "name", name) != 0) {
        return -1;
    }
    if (data != nullptr && json_object_set(request.get(), "data", data) != 0) {
        return -1;
    }
    const text_handle text(json_dumps(request.get(), 0));
    if (!text || send_sync(fd, text.get(), std::strlen(text.get())) != 0) {
        return -1;
    }
    return send_sync(fd, "\n", 1);
}

char* recv_msg(int fd) {
    std::int32_t length = 0;
    if (recv_sync(fd, &length, sizeof length) != 0 || !is_message_length(length)) {
        return nullptr;
    }
    const auto size = static_cast<std::size_t>(length);
    text_handle text(static_cast<char*>(std::malloc(size + 1)));
    if (!text || recv_sync(fd, text.get(), size) != 0) {
        return nullptr;
    }
    text.get()[size] = '\0';
    return text.release();
}

int read_response(const char* text, char** data_out) {
    const json_handle response(json_loads(text, 0, nullptr));
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
    const text_handle text(recv_msg(fd));
    return text ? read_response(text.get(), data_out) : -1;
}

int send_command(const char* name, json_t* data, char** data_out) {
    const fd_handle conn(open_conn());
    if (!conn || send_request(conn.get(), "command", name, data) != 0) {
        return -1;
    }
    return recv_response(conn.get(), data_out);
}

} // namespace qxplix
