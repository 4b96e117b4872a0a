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

/// The words for the update locations, and those for the clouds, which include the locations.
cl::value_table location_words();
cl::value_table cloud_words();

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

/// The name that run_set_registration_cloud and run_set_quillet_location take; "production" for an
/// unknown value.
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
/// are on again then. Waits while another process switches or writes the settings, and reads the
/// settings after that. Refuses to begin when descriptors are short or when another user could have
/// replaced one of the connector's programs. The log gives the reason, and names programs that
/// could not be run or failed.
///
/// Signals are held from the first change until protection and connector are on again, also when an
/// exception is thrown. Once SIGINT, SIGTERM, SIGHUP or SIGQUIT is pending, each program has
/// `grace` left before it is killed; if a stop command is killed, the switch is undone.
int run_set_registration_cloud(const std::string& deployment,
                               std::chrono::milliseconds grace = std::chrono::seconds(10));

/// Brings a switch that a power cut or SIGKILL interrupted to an end: restores protection, deletes
/// the previous registration if the new entry point is set, and starts the connector. Does nothing
/// when there is no such switch or another process is switching. Holds signals meanwhile, like
/// run_set_registration_cloud. Returns 0, or 1 with a message when the settings cannot be read.
int repair_interrupted_switch(std::chrono::milliseconds grace = std::chrono::seconds(10));

/// Sets where the update component looks for updates. Returns the settings store's result.
int run_set_quillet_location(const std::string& deployment);

} // namespace qx::manage
