// Messages and sockets of the broker's protocol, for test brokers and test clients.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <vector>

namespace qx::test {

/// The broker's names of the events, in the order of qx_plix_event_type.
inline const std::vector<std::string> kEvents = {"device_discovery",
                                                 "subscription_changed",
                                                 "cloud_registration_status",
                                                 "devices_list_updated",
                                                 "qxagent_started",
                                                 "va_status_changed",
                                                 "set_device_online_status_result"};

/// Returns the request line of a command. `data` is JSON text, or "" to omit the member "data".
std::string command(const std::string& name, const std::string& data = "null");

/// Returns the request line that subscribes to an event.
std::string subscription(const std::string& event);

/// The answer that reports success and has no data.
inline constexpr const char* kOk = R"({"status": 0})";
/// Returns an answer that reports success or failure and has the JSON text `data`.
std::string success(const std::string& data);
std::string failure(const std::string& data);

/// Returns the line, with its line feed, that `listen` prints for an event.
std::string printed(const std::string& event, const std::string& data);

/// Returns the length field of a frame, in the machine's byte order.
std::string length_field(std::int32_t length);

/// Returns a frame: the length field, then `json`.
std::string framed(std::string_view json);

/// Opens a socket and calls `call`, which is bind or connect, with the broker's address. Returns
/// the socket, which the caller owns, or -1 on failure.
int broker_socket(int (*call)(int, const sockaddr*, socklen_t));

/// Sends all of `bytes`. Returns whether that succeeded.
bool send_all(int fd, std::string_view bytes);

} // namespace qx::test
