// The broker's wire as texts, and its socket: for the brokers and the clients of tests.
#pragma once

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

/// The line that asks for a command, `data` being JSON text, or "" for a request without data.
std::string command(const std::string& name, const std::string& data = "null");

/// The line that subscribes to an event.
std::string subscription(const std::string& event);

/// The answer to a command that went well and gives nothing back, or JSON text, and to one that
/// did not.
inline constexpr const char* kOk = R"({"status": 0})";
std::string success(const std::string& data);
std::string failure(const std::string& data);

/// The line that listen prints of an event.
std::string printed(const std::string& event, const std::string& data);

/// A message as the broker sends it: length, then text.
std::string framed(std::string_view json);

/// A socket on which `call`, bind or connect, went well with the broker's address; -1 when it did
/// not.
int broker_socket(int (*call)(int, const sockaddr*, socklen_t));

/// False when the other side takes no more.
bool send_all(int fd, std::string_view bytes);

} // namespace qx::test
