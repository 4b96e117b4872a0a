#include "devices.h"

#include "exit_status.h"
#include "printers.h"
#include "qx_plix.h"
#include "request.h"

namespace qx::manage {

int run_set_device_info(const DeviceOptions& options) {
    Request request;
    request.add("device_id", options.device_id);
    request.add("name", options.name);
    request.add("traffic_blocked", options.traffic_blocked);
    return request.send(qx_plix_set_device_info);
}

int run_set_device_online_status(const OnlineStatusOptions& options) {
    Request request;
    request.add("mac", options.mac);
    request.add("interface", options.interface);
    request.add("is_online", options.is_online);
    if (!options.ip.empty()) {
        request.add("ip", array_of_valid("--ip", options.ip));
    }
    request.add("hostname", options.hostname);
    return request.send(qx_plix_set_device_online_status);
}

int run_get_devices(const DeviceQueryOptions& options) {
    const qx::json_ptr query = array_of_valid("--ids", options.ids);
    if (!query) {
        return note_failure({message::memory_is_short});
    }
    qx::text_ptr answer;
    const int result = qx_plix_get_devices(serialise(query).get(), answer.out());
    print_output(answer.get());
    return result;
}

} // namespace qx::manage
