// Pointing the agent at another deployment of the maker's cloud.
#pragma once

#include <string>

namespace qx::manage {

/// Switches the cloud connector to the entry point of `deployment` (a name that deployment_name
/// gives), with the agent's protection off and the connector stopped meanwhile. Returns 0 when that
/// entry point is in use, and 1 when nothing was changed or the entry point could not be set; both
/// are on again then. Waits until no other process switches or writes the settings, and goes by the
/// settings as they are then. SIGINT, SIGTERM, SIGHUP and SIGQUIT are held from the first change
/// until protection and connector are back, also when an exception ends it.
int run_set_registration_cloud(const std::string& deployment);

/// Sets where the update component looks for updates. Returns the settings store's result.
int run_set_quillet_location(const std::string& deployment);

} // namespace qx::manage
