#include "router.h"

#include "exit_status.h"
#include "pair.h"
#include "qx_plix.h"
#include "request.h"

namespace qx::manage {
namespace {

bool append_interfaces(json_t* array, const std::vector<std::string>& interfaces) {
    for (const std::string& element : interfaces) {
        const auto pair = split_pair(element, ":");
        if (!pair) {
            return false;
        }
        qx::json_ptr interface(::json_pack("{s:s%,s:s%}",                                  //
                                           "name", pair->first.data(), pair->first.size(), //
                                           "type", pair->second.data(), pair->second.size()));
        if (!qx::json_array_append_value(array, std::move(interface))) {
            return false;
        }
    }
    return true;
}

} // namespace

int run_set_router_info(const std::string& name, const std::string& model,
                        const std::string& serial_number, const std::string& firmware_version,
                        const std::string& feature_set_level,
                        const std::vector<std::string>& interfaces,
                        std::optional<bool> use_va_cloud_trigger) {
    const qx::json_ptr request(::json_pack("{s:s,s:s,s:s,s:s,s:s,s:[],s:b}",               //
                                           "name", name.c_str(),                           //
                                           "model", model.c_str(),                         //
                                           "serial_number", serial_number.c_str(),         //
                                           "firmware_version", firmware_version.c_str(),   //
                                           "feature_set_level", feature_set_level.c_str(), //
                                           "interfaces",                                   //
                                           "use_va_cloud_trigger",
                                           use_va_cloud_trigger.value_or(false)));
    if (!request) {
        return kFailure;
    }
    remove_if_empty(request, "name", name);
    remove_if_empty(request, "model", model);
    remove_if_empty(request, "serial_number", serial_number);
    remove_if_empty(request, "firmware_version", firmware_version);
    remove_if_empty(request, "feature_set_level", feature_set_level);
    if (interfaces.empty()) {
        ::json_object_del(request.get(), "interfaces");
    } else if (!append_interfaces(::json_object_get(request.get(), "interfaces"), interfaces)) {
        return kFailure;
    }
    if (!use_va_cloud_trigger) {
        ::json_object_del(request.get(), "use_va_cloud_trigger");
    }
    return qx_plix_set_router_info(serialise(request).get());
}

} // namespace qx::manage
