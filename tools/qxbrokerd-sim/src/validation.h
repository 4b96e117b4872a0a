// Checks the data of requests. Each check_ function returns "" for valid data, or else the reason
// for the refusal.
#pragma once

#include <jansson.h>
#include <string>
#include <string_view>

namespace qx::sim {

/// Returns whether `text` is six groups of two hexadecimal digits, separated by ":".
bool is_mac(std::string_view text);

/// Returns whether `text` is an IPv4 or IPv6 address.
bool is_ip(const std::string& text);

/// Returns whether `text` is a JSON string of 1 to 255 bytes.
bool is_name(const json_t* text);

/// Checks a MAC address pattern. A choice of digits and intervals may replace any digit:
/// "AA:BB:CC:[0-3|8]D:EE:FF".
std::string check_mac_pattern(std::string_view pattern);

/// Checks a scan schedule: {"at": "HH:MM", "every": {"num", "unit"}, "on": {"prefix", "day"}}.
std::string check_schedule(const json_t* schedule);

/// Checks the report of one device: {"mac", "interface", "is_online", "ip", "hostname"}.
std::string check_online_status(const json_t* entry);

/// Checks the router's network interfaces: an array of {"name", "type"}.
std::string check_interfaces(const json_t* interfaces);

} // namespace qx::sim
