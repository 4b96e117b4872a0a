#include "deployment.h"

#include "exit_status.h"
#include "held_signals.h"
#include "qx/error.h"
#include "qx/exec.h"
#include "qx/format.h"
#include "qx/log.h"
#include "qx/path.h"
#include "qx/scope_guard.h"
#include "qx/settings.h"

#include <fmt/format.h>

namespace qx::manage {
namespace {

using qx::setMgmt;

constexpr const char* kConnector = "qxcloudd";

struct Connector {
    std::string service_script;
    std::string daemon;

    void stop() const {
        qx::exec_command({service_script, "stop"}, 0);
        qx::exec_command({daemon, "-stop"}, 0);
    }

    void start() const {
        qx::exec_command({service_script, "start"}, 0);
        qx::exec_command({daemon, "-start"}, 0);
    }
};

Connector find_connector() {
    qx::path script(qx::common_path::configuration);
    script.add_piece(false, "init.d");
    script.add_piece(false, fmt::format("qplix-{}", kConnector).c_str());
    qx::path daemon(qx::common_path::programs);
    daemon.add_piece(false, kConnector);
    return {script.to_string(), daemon.to_string()};
}

std::string default_entrypoint_key() {
    qx::path key(qx::kCirrelEntrypointsKey);
    key.add_piece(false, "default");
    return key.to_string();
}

void delete_previous_registration() {
    const auto remove = [](const std::string& key) {
        if (setMgmt::deleteKey(key) >= 0) {
            return;
        }
        const int error = qx::_get_qxerrno().number;
        if (error != qx::error_number::no_such_key && error != qx::error_number::no_store) {
            QX_LOG(qx::log::level::warning, "Deleting '{}' failed", key);
        }
    };
    remove(qx::kDefaultSettingsNextQueryTsPath.to_string());
    for (const std::string& key : qx::kRegistrationMetadataKeys) {
        remove(key);
    }
}

} // namespace

int run_set_registration_cloud(const std::string& deployment) {
    const auto found = qx::kCloudDeploymentMap.find(deployment);
    if (found == qx::kCloudDeploymentMap.end()) {
        QX_LOG(qx::log::level::error, "Entrypoint for deployment '{}' not found", deployment);
        return kFailure;
    }
    const std::string& entrypoint = found->second;
    const std::string default_entrypoint = default_entrypoint_key();
    if (setMgmt::getKeyValue(default_entrypoint, std::string()) == entrypoint) {
        return kSuccess;
    }

    const HeldSignals held;
    const std::string protection = qx::kProtectionEnabledKey.to_string();
    const bool was_protected = setMgmt::getKeyValue(protection, 0) != 0;
    if (was_protected && setMgmt::setKey(protection, "0") < 0) {
        QX_LOG(qx::log::level::error, "Could not disable the agent");
        return kFailure;
    }
    const qx::scope_guard enable_again([&] {
        if (was_protected && setMgmt::setKey(protection, "1") < 0) {
            QX_LOG(qx::log::level::error, "Could not enable back the agent");
        }
    });

    const Connector connector = find_connector();
    connector.stop();
    const qx::scope_guard restart([&] { connector.start(); });

    if (setMgmt::setKey(default_entrypoint, entrypoint) < 0) {
        QX_LOG(qx::log::level::error, "Could not set default entrypoint to '{}'", entrypoint);
        return kFailure;
    }
    delete_previous_registration();
    return kSuccess;
}

int run_set_quillet_location(const std::string& deployment) {
    return setMgmt::setKey(qx::kQuilletUpdateLocationKey.to_string(), deployment);
}

} // namespace qx::manage
