// Pointing the agent at another deployment of the maker's cloud.
#pragma once

#include "options.h"

#include <chrono>
#include <string>

namespace qx::manage {

/// The clouds, and update locations, that the agent can be pointed at.
enum class CloudDeployment : int {
    production,
    staging,
    development,
};

/// The words for the update locations, and the same with the clouds that have none.
cl::valuelist_struct<CloudDeployment> location_words();
cl::valuelist_struct<CloudDeployment> cloud_words();

struct RegistrationCloudOptions {
    Owner owner;
    cl::opt<CloudDeployment> cloud{
        "cloud",   owner,         cl::valuedesc("production|staging|development"),
        kRequired, cloud_words(), cl::desc("set the registration cloud")};
};

struct QuilletLocationOptions {
    Owner owner;
    cl::opt<CloudDeployment> deployment{owner, cl::valuedesc("production|staging"), kRequired,
                                        location_words(), cl::desc("the deployment to switch to")};
};

/// The name under which a deployment is handed on; "production" for a value that is none.
constexpr const char* deployment_name(CloudDeployment deployment) {
    switch (deployment) {
    case CloudDeployment::staging:
        return "staging";
    case CloudDeployment::development:
        return "development";
    case CloudDeployment::production:
        break;
    }
    return "production";
}

/// Switches the cloud connector to the entry point of `deployment` (a name that deployment_name
/// gives), with the agent's protection off and the connector stopped meanwhile. Returns 0 when that
/// entry point is in use, and 1 when nothing was changed or the entry point could not be set; both
/// are on again then. Waits until no other process switches or writes the settings, and goes by the
/// settings as they are then. Nothing is changed either when descriptors are short or another user
/// could have replaced one of the connector's programs; the log says so, and says which program
/// could not be run or failed.
///
/// Signals are held from the first change until protection and connector are back, also when an
/// exception ends it. Once SIGINT, SIGTERM, SIGHUP or SIGQUIT waits, each program has `grace` left
/// and is killed then; a switch whose connector could not be stopped for that reason is given up.
int run_set_registration_cloud(const std::string& deployment,
                               std::chrono::milliseconds grace = std::chrono::seconds(10));

/// Sets where the update component looks for updates. Returns the settings store's result.
int run_set_quillet_location(const std::string& deployment);

} // namespace qx::manage
