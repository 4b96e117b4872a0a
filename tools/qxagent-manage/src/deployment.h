// Switches the agent to another deployment (production, staging or development) of the maker's
// cloud. Main thread only.
#pragma once

#include "options.h"

#include <chrono>
#include <string>

namespace qx::manage {

/// The update component supports only the first two deployments.
enum class CloudDeployment : int {
    production,
    staging,
    development,
};

/// Returns the accepted words for an update location: production and staging.
cl::value_table location_words();
/// Returns the accepted words for a deployment.
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

/// Returns the name that run_set_registration_cloud() and run_set_quillet_location() expect, or
/// "production" for an unknown value.
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

/// How long the tool waits for a program of the cloud connector after a termination signal to the
/// tool.
inline constexpr std::chrono::milliseconds kGracePeriod = std::chrono::seconds(10);

/// Switches the cloud connector, the agent's daemon qxcloudd, to the entry point (qx/settings.h) of
/// `deployment`, a name from deployment_name(), and deletes the previous registration. Waits while
/// another process is switching or writing the settings. Repairs an interrupted switch first.
/// During the switch, the agent's protection is off and the connector is stopped.
///
/// Refuses to begin if the process cannot open enough descriptors or if another user could have
/// replaced one of the connector's programs. Returns 0 on success or if the entry point is already
/// in use. Returns 1 if the switch is refused or fails. After a failure, restores protection if it
/// was on, and starts the connector again. If protection cannot be restored, the next run of the
/// tool retries. The log gives the reason and names programs that could not be run or that failed.
///
/// Blocks signals from the first change until protection is restored and the connector has been
/// started again, also if an exception is thrown. Once SIGINT, SIGTERM, SIGHUP or SIGQUIT is
/// pending, each of the connector's programs has `grace` to end before it is killed. The switch
/// fails if a stop command is killed.
int run_set_registration_cloud(const std::string& deployment,
                               std::chrono::milliseconds grace = kGracePeriod);

/// Repairs a switch that a power cut or SIGKILL interrupted: restores protection, deletes the
/// previous registration if the new entry point is set, and starts the connector. Does nothing if
/// no switch was interrupted or if another process is switching. Blocks signals and uses `grace`
/// like run_set_registration_cloud(). Returns 1 after printing a message if the settings cannot be
/// read, and 0 otherwise.
int repair_interrupted_switch(std::chrono::milliseconds grace = kGracePeriod);

/// Stores `deployment`, a name from deployment_name(), as the place where the update component
/// looks for updates. Returns the settings store's result: 0 on success, negative on failure.
int run_set_quillet_location(const std::string& deployment);

} // namespace qx::manage
