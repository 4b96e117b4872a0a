// The vocabulary of the command line, as handlers read it.
#pragma once

#include "operation.h"
#include "qx/cl.h"

#include <string>

namespace qx::manage {

/// Every option of the tool. Constructing it registers them with the parser, in the order of the
/// members; after `cl::parse` the members hold the values. One object per process.
class CommandLine {
public:
    using Text = cl::opt<std::string>;
    using Integer = cl::opt<int>;
    using Boolean = cl::opt<bool>;
    using Deployment = cl::opt<CloudDeployment>;
    using List = cl::list<std::string>;
    using Set = cl::set<std::string>;
    using Flag = cl::flag;

    CommandLine();

    cl::sub_commands<Operation> operation;

    // listen
    Set events;

    // register
    List register_params;

    // register_to_cloud
    List register_to_cloud_params;

    // set_registration_cloud
    Deployment cloud;

    // set_router_info
    Text router_name;
    Text model;
    Text serial_number;
    Text firmware_version;
    Text feature_set_level;
    List interfaces;
    Boolean use_va_cloud_trigger;

    // set_device_info
    Text device_id;
    Text device_name;
    Integer traffic_blocked;

    // set_device_online_status
    Text mac;
    Text interface;
    Boolean is_online;
    List ip;
    Text hostname;

    // get_devices
    List ids;

    // va_set_schedule
    Text at;
    Integer every_num;
    Text every_unit;
    Text on_prefix;
    Text on_day;

    // va_set_exclusions
    List addresses;

    // feature
    List set_features;
    List get_features;
    Flag list_features;

    // set_quillet_location
    Deployment update_deployment;
};

} // namespace qx::manage
