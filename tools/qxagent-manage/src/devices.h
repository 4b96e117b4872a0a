// The devices of the network.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace qx::manage {

/// Names a device and, when given, sets whether its traffic is blocked. Returns the library's
/// result, or 1 when a text is not UTF-8.
int run_set_device_info(const std::string& device_id, const std::string& name,
                        std::optional<int> traffic_blocked);

/// Reports that a device came or went. Empty texts and an empty `ip` are left out. Returns the
/// library's result, or 1 when a text is not UTF-8; an address that is not UTF-8 is passed over.
int run_set_device_online_status(const std::string& mac, const std::string& interface,
                                 bool is_online, const std::vector<std::string>& ip,
                                 const std::string& hostname);

/// Prints the devices with these ids, or all when there are none. Returns the library's result, or
/// 1 when the query cannot be built.
int run_get_devices(const std::vector<std::string>& ids);

} // namespace qx::manage
