// Calls of the tool's operations, for tests that loop over all of them.
#pragma once

#include "operation.h"
#include "world.h"

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

namespace qx::test {

/// One operation with options that the simulated broker accepts.
struct OperationCall {
    manage::Operation operation;
    std::vector<std::string> options = {};
    bool asks_broker = true;     ///< whether the call sends the broker a request
    const char* label = nullptr; ///< distinguishes calls of the same operation; null for the first

    [[nodiscard]] std::string name() const { return manage::row_of(operation).word; }
    [[nodiscard]] std::string title() const { return label == nullptr ? name() : label; }

    [[nodiscard]] std::vector<std::string> words() const {
        std::vector<std::string> all(options);
        all.insert(all.begin(), name());
        return all;
    }
};

inline void PrintTo(const OperationCall& call, std::ostream* out) {
    *out << call.title();
}

/// Returns calls of the operations that need options or send no request.
inline std::vector<OperationCall> special_calls() {
    using enum manage::Operation;
    return {
        {register_router, {"--params=router_id=r,token=t"}},
        {register_to_cloud, {"--params=token=t,mac=02:00:00:00:00:01"}},
        {set_registration_cloud, {"--cloud=staging"}, false},
        {set_router_info, {"--name=n", "--model=m", "--interfaces=br-wan:wan,br-lan:lan"}},
        {set_device_info, {"--device_id=device-1", "--name=n", "--traffic_blocked=0"}},
        {set_device_online_status,
         {"--mac=02:00:00:00:00:01", "--interface=br-lan1", "--is_online=1",
          "--ip=192.168.1.9,fe80::1"}},
        {get_devices, {"--ids=device-1,device-2"}},
        {va_set_schedule, {"--at=03:00", "--every_num=1", "--every_unit=week", "--on_day=monday"}},
        {va_set_exclusions, {"--addresses=02:11:22:33:44:5[0-3]"}},
        {feature, {"--set=web_filter=enabled"}},
        {feature, {"--get=web_filter"}, true, "feature_get"},
        {feature, {"--list"}, true, "feature_list"},
        {set_quillet_location, {"staging"}, false},
        {help, {}, false},
    };
}

/// Returns at least one call of every operation except listen.
inline std::vector<OperationCall> operation_calls() {
    std::vector<OperationCall> calls = special_calls();
    const std::vector<OperationCall> special = calls;
    for (const manage::OperationRow& row : manage::operations()) {
        const bool is_special =
            std::any_of(special.begin(), special.end(),
                        [&](const OperationCall& call) { return call.operation == row.operation; });
        if (!is_special && row.operation != manage::Operation::listen) {
            calls.push_back({row.operation});
        }
    }
    return calls;
}

/// Returns the step of a loop over many cases: the environment variable QX_FAULT_STEP, or `quick`
/// if it is not set. With a step of 1, the loop tries every case.
inline unsigned fault_step(unsigned quick) {
    return from_environment("QX_FAULT_STEP", quick);
}

} // namespace qx::test
