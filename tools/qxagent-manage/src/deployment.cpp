#include "deployment.h"

#include "base/descriptor.h"
#include "base/retry.h"
#include "exit_status.h"
#include "held_signals.h"
#include "printers.h"
#include "qx/constant_path.h"
#include "qx/exec.h"
#include "qx/format.h"
#include "qx/last_error.h"
#include "qx/log.h"
#include "qx/program_check.h"
#include "qx/scope_guard.h"
#include "qx/settings.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <iterator>
#include <new>
#include <optional>
#include <span>

namespace qx::manage {
namespace {

using qx::setMgmt;

// The connector's service script and the connector itself.
constexpr qx::constant_path kScript(qx::common_path::configuration, "init.d/qplix-qxcloudd");
constexpr qx::constant_path kDaemon(qx::common_path::programs, "qxcloudd");

constexpr cl::detail::value_entry deployment(CloudDeployment value, const char* word,
                                             const char* help) {
    return {static_cast<int>(value), word, help};
}

// An update location is one of the first two.
constexpr cl::detail::value_entry kDeployments[] = {
    deployment(CloudDeployment::production, "production", "production environment"),
    deployment(CloudDeployment::staging, "staging", "staging environment"),
    deployment(CloudDeployment::development, "development", "development environment"),
};

constexpr int kAttempts = 3;

// What must not stay undone is tried again when a step says so, or when memory was short, which may
// be over by then. Nothing is thrown past the undo steps that are still to come.
template <typename Step>
bool insist(const Step& step) noexcept {
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        try {
            if (step()) {
                return true;
            }
        } catch (const std::bad_alloc&) {
            continue;
        } catch (...) {
            return false;
        }
    }
    return false;
}

struct Connector {
    std::string script;
    std::string daemon;
};

Connector find_connector() {
    return {kScript.to_string(), kDaemon.to_string()};
}

// What went wrong with a program, or "".
std::string describe(const std::string& program, const char* word, const qx::program_end& end) {
    if (end.is_killed) {
        return fmt::format("'{} {}' did not end and was killed", program, word);
    }
    if (end.status < 0) {
        return fmt::format("'{} {}' could not be run: {}", program, word, std::strerror(end.error));
    }
    return end.status == 0 ? ""
                           : fmt::format("'{} {}' ended with status {}", program, word, end.status);
}

void report(const std::string& program, const char* word, const qx::program_end& end) {
    const std::string text = describe(program, word, end);
    if (!text.empty()) {
        QX_LOG(qx::log::level::warning, "{}", text);
        print_notice(text);
    }
}

// Runs one of the connector's programs. Returns false only when the program hung and was killed.
bool run(const std::string& program, const char* word, std::chrono::milliseconds grace) noexcept {
    qx::program_end end;
    insist([&] {
        end = qx::run_program({program, word}, grace);
        return end.status >= 0;
    });
    insist([&] {
        report(program, word, end);
        return true;
    });
    return !end.is_killed;
}

// Tries to open more descriptors than any step of the switch needs, so that no step can run out of
// them.
bool has_descriptors(const qx::io::descriptor& any) {
    qx::io::descriptor spare[8];
    for (qx::io::descriptor& fd : spare) {
        fd.reset(qx::io::uninterrupted([&] { return ::fcntl(any.get(), F_DUPFD_CLOEXEC, 0); }));
        if (!fd) {
            return false;
        }
    }
    return true;
}

bool can_be_run(const Connector& connector) {
    qx::program_check check;
    for (const std::string& program : {connector.script, connector.daemon}) {
        if (!check.accepts(program)) {
            QX_LOG(qx::log::level::error, "Will not run '{}': {}", program, check.reason());
            note_failure({message::connector_is_refused, check.reason()});
            return false;
        }
    }
    for (const std::string& path : check.group_writable()) {
        QX_LOG(qx::log::level::warning, "'{}' can be written by its group", path);
    }
    return true;
}

bool can_begin(const qx::io::descriptor& turn, const Connector& connector) {
    if (!turn) {
        QX_LOG(qx::log::level::error, "Could not begin the switch: {:s}", qx::last_error().reason);
        note_failure({message::switch_does_not_begin, qx::last_error().reason});
        return false;
    }
    if (!has_descriptors(turn)) {
        const Failure failure = system_failure(message::switch_does_not_begin);
        QX_LOG(qx::log::level::error, "Could not begin the switch: {:s}", failure.detail);
        note_failure(failure);
        return false;
    }
    return can_be_run(connector);
}

// On a full disk, protection could not be switched on again without reserved space.
bool reserve_space(std::optional<qx::settings_reserve>& reserve, const std::string& protection) {
    if (reserve.emplace(protection, "1")) {
        return true;
    }
    QX_LOG(qx::log::level::warning, "Could not reserve space to enable the agent again: {:s}",
           qx::last_error().reason);
    return false;
}

int note_unwritten_settings() {
    return note_failure({message::settings_are_not_written, qx::last_error().reason});
}

// Empty when the deployment is unknown.
std::string find_entrypoint(const std::string& deployment) {
    const auto* const found =
        std::find_if(std::begin(qx::kCloudDeploymentMap), std::end(qx::kCloudDeploymentMap),
                     [&](const auto& entry) { return entry.first == qx::string_view(deployment); });
    return found == std::end(qx::kCloudDeploymentMap) ? "" : found->second;
}

std::string default_entrypoint_key() {
    return qx::kCirrelEntrypointsKey.to_string() + "/default";
}

void delete_previous_registration() {
    const auto remove = [](const std::string& key) {
        if (setMgmt::deleteKey(key) >= 0) {
            return;
        }
        const int error = qx::last_error().number;
        if (error != qx::error_number::no_such_key && error != qx::error_number::no_store) {
            QX_LOG(qx::log::level::warning, "Deleting '{}' failed", key);
        }
    };
    remove(qx::kDefaultSettingsNextQueryTsPath.to_string());
    for (const char* const key : qx::kRegistrationMetadataKeys) {
        remove(key);
    }
}

} // namespace

cl::value_table location_words() {
    return {std::span(kDeployments).first(2)};
}

cl::value_table cloud_words() {
    return {kDeployments};
}

int run_set_registration_cloud(const std::string& deployment, std::chrono::milliseconds grace) {
    const std::string entrypoint = find_entrypoint(deployment);
    if (entrypoint.empty()) {
        QX_LOG(qx::log::level::error, "Entrypoint for deployment '{}' not found", deployment);
        return kFailure;
    }
    const std::string default_entrypoint = default_entrypoint_key();
    // Read the store again: another switch may have changed it since the program started.
    const qx::io::descriptor turn = qx::lock_switch();
    if (setMgmt::init() < 0) {
        return print_unreadable_settings();
    }
    if (setMgmt::getKeyValue(default_entrypoint, std::string()) == entrypoint) {
        return kSuccess;
    }
    const Connector connector = find_connector();
    if (!can_begin(turn, connector)) {
        return kFailure;
    }

    // Lock before the signals are held, so that a signal can end the wait.
    std::optional<qx::settings_lock> settings(std::in_place);
    const HeldSignals held;
    if (setMgmt::init() < 0) {
        return print_unreadable_settings();
    }
    const std::string protection = qx::kProtectionEnabledKey.to_string();
    const bool was_protected = setMgmt::getKeyValue(protection, 0) != 0;
    std::optional<qx::settings_reserve> reserve;
    if (was_protected &&
        (!reserve_space(reserve, protection) || setMgmt::setKey(protection, "0") < 0)) {
        QX_LOG(qx::log::level::error, "Could not disable the agent");
        return note_unwritten_settings();
    }
    settings.reset();
    const qx::scope_guard enable_again([&] {
        if (was_protected && !insist([&] { return setMgmt::setKey(protection, "1") >= 0; })) {
            insist([] {
                QX_LOG(qx::log::level::error, "Could not enable back the agent");
                return true;
            });
        }
    });

    const bool is_stopped =
        run(connector.script, "stop", grace) && run(connector.daemon, "-stop", grace);
    const qx::scope_guard restart([&] {
        run(connector.script, "start", grace);
        run(connector.daemon, "-start", grace);
    });
    if (!is_stopped) {
        return note_failure({message::connector_hangs});
    }
    if (setMgmt::setKey(default_entrypoint, entrypoint) < 0) {
        QX_LOG(qx::log::level::error, "Could not set default entrypoint to '{}'", entrypoint);
        return note_unwritten_settings();
    }
    delete_previous_registration();
    return kSuccess;
}

int run_set_quillet_location(const std::string& deployment) {
    const int result = setMgmt::setKey(qx::kQuilletUpdateLocationKey.to_string(), deployment);
    if (result < 0) {
        note_unwritten_settings();
    }
    return result;
}

} // namespace qx::manage
