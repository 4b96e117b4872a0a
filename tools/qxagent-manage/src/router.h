// The operation `set_router_info`. Main thread only.
#pragma once

#include "options.h"

namespace qx::manage {

struct RouterOptions {
    Owner owner;
    Text name{"name", owner, cl::valuedesc("router_name"), cl::desc("set the router name")};
    Text model{"model", owner, cl::valuedesc("router_model"), cl::desc("set the router model")};
    Text serial_number{"serial_number", owner, cl::valuedesc("router_serial_number"),
                       cl::desc("set the router serial number")};
    Text firmware_version{"firmware_version", owner, cl::valuedesc("router_firmware_version"),
                          cl::desc("set the router firmware version")};
    Text feature_set_level{"feature_set_level", owner, cl::valuedesc("feature_set_level"),
                           cl::desc("set the feature set level")};
    List interfaces{"interfaces", owner, cl::valuedesc("list"), kCommaSeparated,
                    cl::desc("a comma separated list of interface name and interface type pairs; "
                             "example: br-wan:wan,br-lan1:lan,br-lan2:lan")};
    Boolean use_va_cloud_trigger{"use_va_cloud_trigger", owner, cl::valuedesc("boolean"),
                                 cl::desc("accept cloud trigger VA scans or not")};
};

/// Sends the router's description. Omits empty texts, an empty list and options that are not given.
/// Each element of `interfaces` is NAME:TYPE. Returns the client library's result, or 1 without
/// sending anything if an element is not such a pair or a text is not UTF-8.
int run_set_router_info(const RouterOptions& options);

} // namespace qx::manage
