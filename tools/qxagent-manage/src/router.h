// The router's own description.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace qx::manage {

/// Sends what is given of the router's description: empty strings, an empty list and an absent
/// trigger are left out. Each element of `interfaces` is NAME:TYPE. Returns the library's result,
/// or 1 when an element is none or a text is not UTF-8; nothing is sent then.
int run_set_router_info(const std::string& name, const std::string& model,
                        const std::string& serial_number, const std::string& firmware_version,
                        const std::string& feature_set_level,
                        const std::vector<std::string>& interfaces,
                        std::optional<bool> use_va_cloud_trigger);

} // namespace qx::manage
