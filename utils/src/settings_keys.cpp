#include "qx/settings.h"

#include <initializer_list>

namespace qx {
namespace {

path key(string_view text) {
    path built;
    built.add_piece(true, text);
    return built;
}

path configuration_file(std::initializer_list<string_view> pieces) {
    static const path directory(common_path::configuration);
    path built(directory);
    for (const string_view piece : pieces) {
        built.add_piece(true, piece);
    }
    return built;
}

} // namespace

const path kCirrelEntrypointsKey = key("/cirrel/entrypoints");
const path kQuilletUpdateLocationKey = key("/quillet/update_location");
const path kProtectionEnabledKey = key("/agent/protection_enabled");
const path kDefaultSettingsNextQueryTsPath = key("/agent/default_settings/next_query_ts");

const std::vector<std::string> kRegistrationMetadataKeys = {
    "/cirrel/registration/router_id",
    "/cirrel/registration/token",
    "/cirrel/registration/timestamp",
};

const std::unordered_map<std::string, std::string> kCloudDeploymentMap = {
    {"production", "prod"},
    {"staging", "stage"},
    {"development", "dev"},
};

const path kCirrelIniKey = key("/cirrel/qxnc_ini");
const path kCirrelIniDefault = configuration_file({"qxnc.ini"});
const path kCirrelCaFileKey = key("/cirrel/ca_file");
const path kCirrelCaFileDefault = configuration_file({"certs", "ca-certificates.crt"});
const path kCirrelUuidFileKey = key("/cirrel/uuid_file");
const path kCirrelUuidFileDefault = configuration_file({"qxnc.uuid"});

} // namespace qx
