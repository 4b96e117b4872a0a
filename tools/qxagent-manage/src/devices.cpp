#include "devices.h"

#include "answer.h"
#include "exit_status.h"
#include "printers.h"
#include "qx_plix.h"
#include "request.h"

namespace qx::manage {

int run_set_device_info(const std::string& device_id, const std::string& name,
                        std::optional<int> traffic_blocked) {
    const qx::json_ptr request(::json_pack("{s:s,s:s,s:i}",                //
                                           "device_id", device_id.c_str(), //
                                           "name", name.c_str(),           //
                                           "traffic_blocked", traffic_blocked.value_or(0)));
    if (!request) {
        return kFailure;
    }
    remove_if_empty(request, "device_id", device_id);
    remove_if_empty(request, "name", name);
    if (!traffic_blocked) {
        ::json_object_del(request.get(), "traffic_blocked");
    }
    return qx_plix_set_device_info(serialise(request).get());
}

int run_set_device_online_status(const std::string& mac, const std::string& interface,
                                 bool is_online, const std::vector<std::string>& ip,
                                 const std::string& hostname) {
    const qx::json_ptr request(::json_pack("{s:s,s:s,s:b,s:[],s:s}",       //
                                           "mac", mac.c_str(),             //
                                           "interface", interface.c_str(), //
                                           "is_online", is_online,         //
                                           "ip",                           //
                                           "hostname", hostname.c_str()));
    if (!request) {
        return kFailure;
    }
    remove_if_empty(request, "mac", mac);
    remove_if_empty(request, "interface", interface);
    remove_if_empty(request, "hostname", hostname);
    if (ip.empty()) {
        ::json_object_del(request.get(), "ip");
    } else {
        append_texts(::json_object_get(request.get(), "ip"), ip);
    }
    return qx_plix_set_device_online_status(serialise(request).get());
}

int run_get_devices(const std::vector<std::string>& ids) {
    const qx::json_ptr query(::json_pack("[]"));
    if (!query) {
        return kFailure;
    }
    append_texts(query.get(), ids);
    qx::text_ptr answer;
    const int result = qx_plix_get_devices(serialise(query).get(), OutText(answer));
    print_output(answer.get());
    return result;
}

} // namespace qx::manage
