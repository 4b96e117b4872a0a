// The texts and the socket of the broker's protocol, for the brokers and clients of tests.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <vector>

namespace qx::test {

/// The broker's events, in the order of their types.
inline const std::vector<std::string> kEvents = {"device_discovery",
                                                 "subscription_changed",
                                                 "cloud_registration_status",
                                                 "devices_list_updated",
                                                 "qxagent_started",
                                                 "va_status_changed",
                                                 "set_device_online_status_result"};

/// Returns the request line of a command. `data` is JSON text, or "" for a request without data.
std::string command(const std::string& name, const std::string& data = "null");

/// Returns the request line that subscribes to an event.
std::string subscription(const std::string& event);

/// The answer to a successful command without a result.
inline constexpr const char* kOk = R"({"status": 0})";
/// Returns the answer to a successful or failed command. `data` is JSON text.
std::string success(const std::string& data);
std::string failure(const std::string& data);

/// Returns the line that listen prints for an event.
std::string printed(const std::string& event, const std::string& data);

/// Returns the length field of a frame, in the machine's byte order.
std::string length_field(std::int32_t length);

/// Returns a frame: the length, then the text.
std::string framed(std::string_view json);

/// Returns a socket that `call`, which is bind or connect, has bound or connected to the broker's
/// address. Returns -1 on failure.
int broker_socket(int (*call)(int, const sockaddr*, socklen_t));

/// Sends all bytes. Returns false if that fails.
bool send_all(int fd, std::string_view bytes);

} // namespace qx::test
