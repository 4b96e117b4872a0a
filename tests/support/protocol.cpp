#include "protocol.h"

#include "base/protocol.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <sys/un.h>
#include <unistd.h>

namespace qx::test {

std::string command(const std::string& name, const std::string& data) {
    return R"({"type": "command", "name": ")" + name + '"' +
           (data.empty() ? "" : ", \"data\": " + data) + "}\n";
}

std::string subscription(const std::string& event) {
    return R"({"type": "subscribe", "name": ")" + event + "\"}\n";
}

std::string success(const std::string& data) {
    return R"({"status": 0, "data": )" + data + "}";
}

std::string failure(const std::string& data) {
    return R"({"status": 1, "data": )" + data + "}";
}

std::string printed(const std::string& event, const std::string& data) {
    std::string name = "QX_PLIX_" + event;
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return std::toupper(c); });
    return R"({"event_name": ")" + name + R"(", "data": )" + data + "}\n";
}

std::string length_field(std::int32_t length) {
    std::string bytes(sizeof length, '\0');
    std::memcpy(bytes.data(), &length, sizeof length);
    return bytes;
}

std::string framed(std::string_view json) {
    return length_field(static_cast<std::int32_t>(json.size())).append(json);
}

int broker_socket(int (*call)(int, const sockaddr*, socklen_t)) {
    sockaddr_un address{};
    const socklen_t size = qx_broker_address(&address);
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (call(fd, reinterpret_cast<const sockaddr*>(&address), size) == 0) {
        return fd;
    }
    ::close(fd);
    return -1;
}

bool send_all(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

} // namespace qx::test
