// The command line as a whole: the operation and the options of every operation.
#pragma once

#include "agent_features.h"
#include "deployment.h"
#include "devices.h"
#include "listen.h"
#include "operation.h"
#include "registration.h"
#include "router.h"
#include "scans.h"

namespace qx::manage {

/// The constructor registers every option with the parser, in the order of the members. After
/// `cl::parse` the members hold the values. Only one object may exist at a time.
struct CommandLine {
    cl::sub_commands<Operation> operation{
        cl::valuedesc("operation"), cl::desc("The operation to be performed:"), operation_words()};
    ListenOptions listen{owner(Operation::listen)};
    RegistrationOptions register_router{owner(Operation::register_router)};
    RegistrationOptions register_to_cloud{owner(Operation::register_to_cloud)};
    RegistrationCloudOptions registration_cloud{owner(Operation::set_registration_cloud)};
    RouterOptions router{owner(Operation::set_router_info)};
    DeviceOptions device{owner(Operation::set_device_info)};
    OnlineStatusOptions online_status{owner(Operation::set_device_online_status)};
    DeviceQueryOptions devices{owner(Operation::get_devices)};
    ScheduleOptions schedule{owner(Operation::va_set_schedule)};
    ExclusionOptions exclusions{owner(Operation::va_set_exclusions)};
    FeatureOptions feature{owner(Operation::feature)};
    QuilletLocationOptions quillet_location{owner(Operation::set_quillet_location)};
};

} // namespace qx::manage
