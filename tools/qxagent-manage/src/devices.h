// Operations on the devices of the network. Main thread only.
#pragma once

#include "options.h"

namespace qx::manage {

struct DeviceOptions {
    Owner owner;
    Text device_id{"device_id", owner, cl::valuedesc("device_id"), kRequired,
                   cl::desc("id of the device")};
    Text name{"name", owner, cl::valuedesc("device_name"), kRequired,
              cl::desc("set the new name of the device")};
    Integer traffic_blocked{"traffic_blocked", owner, cl::valuedesc("integer"),
                            cl::desc("the new traffic_blocked status of the device")};
};

struct OnlineStatusOptions {
    Owner owner;
    Text mac{"mac", owner, cl::valuedesc("mac_address"), kRequired,
             cl::desc("the MAC of the device")};
    Text interface {
        "interface", owner, cl::valuedesc("device_interface"), kRequired,
            cl::desc("set the name of the interface on which the device was discovered.")
    };
    Boolean is_online{"is_online", owner, cl::valuedesc("boolean"), kRequired,
                      cl::desc("set status of the device")};
    List ip{"ip", owner, cl::valuedesc("list"), kCommaSeparated,
            cl::desc("the IP or a list of IPs (allows both IPv4 and IPv6) for the device. It "
                     "should only be sent when is_online=true")};
    Text hostname{"hostname", owner, cl::valuedesc("device_hostname"),
                  cl::desc("hostname of the device if found in the ARP table")};
};

struct DeviceQueryOptions {
    Owner owner;
    List ids{"ids", owner, cl::valuedesc("list"), kCommaSeparated,
             cl::desc("an array of device ids; example: id1,id2,id3")};
};

/// Renames a device and, if `traffic_blocked` is given, blocks or unblocks its traffic. Returns the
/// client library's result, or 1 if a text is not UTF-8.
int run_set_device_info(const DeviceOptions& options);

/// Reports that a device went online or offline. Omits empty texts, an empty `ip` and addresses
/// that are not UTF-8. Returns the client library's result, or 1 if another text is not UTF-8.
int run_set_device_online_status(const OnlineStatusOptions& options);

/// Prints the devices with the given ids, or all devices if no id is given. Ignores ids that are
/// not UTF-8. Returns the client library's result, or 1 if the query cannot be built.
int run_get_devices(const DeviceQueryOptions& options);

} // namespace qx::manage
