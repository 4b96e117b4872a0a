#include "router.h"

#include "pair.h"
#include "printers.h"
#include "qx/json.h"
#include "qx_plix.h"
#include "request.h"

#include <utility>

namespace qx::manage {
namespace {

qx::json_ptr interface_array(const std::vector<std::string>& interfaces) {
    qx::json_ptr array(::json_array());
    for (const std::string& element : interfaces) {
        const auto pair = split_pair(element, ":");
        if (!pair) {
            note_failure({message::interface_is_no_pair, element});
            return nullptr;
        }
        qx::json_ptr name = text_value(pair->first);
        qx::json_ptr type = text_value(pair->second);
        if (!name || !type) {
            note_failure({message::value_is_not_utf8, "--interfaces"});
            return nullptr;
        }
        Request interface;
        interface.add("name", std::move(name));
        interface.add("type", std::move(type));
        if (!qx::json_array_append_value(array.get(), interface.take())) {
            return nullptr;
        }
    }
    return array;
}

} // namespace

int run_set_router_info(const RouterOptions& options) {
    Request request;
    request.add("name", options.name);
    request.add("model", options.model);
    request.add("serial_number", options.serial_number);
    request.add("firmware_version", options.firmware_version);
    request.add("feature_set_level", options.feature_set_level);
    if (!options.interfaces.empty()) {
        request.add("interfaces", interface_array(options.interfaces));
    }
    request.add("use_va_cloud_trigger", options.use_va_cloud_trigger);
    return request.send(qx_plix_set_router_info);
}

} // namespace qx::manage
