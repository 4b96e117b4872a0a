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

// location_words() returns the first two entries.
constexpr cl::detail::value_entry kDeployments[] = {
    deployment(CloudDeployment::production, "production", "production environment"),
    deployment(CloudDeployment::staging, "staging", "staging environment"),
    deployment(CloudDeployment::development, "development", "development environment"),
};

constexpr int kAttempts = 3;

// Runs a step until it succeeds, at most kAttempts times. Retries if the step returns false or
// throws std::bad_alloc. Returns whether the step succeeded. Does not throw, so that the remaining
// undo steps always run.
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

// Returns why a program failed, or "" if it succeeded.
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

// Runs one of the connector's programs. Returns false only if the program hung and was killed.
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

// Checks that the process can still open more descriptors than any step of the switch needs.
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

bool can_be_run(const Connector& connector, std::string& refusal) {
    qx::program_check check;
    for (const std::string& program : {connector.script, connector.daemon}) {
        if (!check.accepts(program)) {
            QX_LOG(qx::log::level::error, "Will not run '{}': {}", program, check.reason());
            refusal = check.reason();
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
    std::string refusal;
    if (!can_be_run(connector, refusal)) {
        note_failure({message::connector_is_refused, refusal});
        return false;
    }
    return true;
}

std::string protection_key() {
    return qx::kProtectionEnabledKey.to_string();
}

// Without reserved space, a full disk could prevent the write that turns protection on again.
bool reserve_space(std::optional<qx::settings_reserve>& reserve) {
    if (reserve.emplace(protection_key(), "1")) {
        return true;
    }
    QX_LOG(qx::log::level::warning, "Could not reserve space to enable the agent again: {:s}",
           qx::last_error().reason);
    return false;
}

bool leave_mark(const qx::switch_mark& mark) {
    if (qx::write_switch_mark(mark) >= 0) {
        return true;
    }
    QX_LOG(qx::log::level::warning, "Could not note the switch for a later repair: {:s}",
           qx::last_error().reason);
    return false;
}

// Writes the mark first: without it, a later run could not restore protection after a power cut. If
// protection is off already, the switch proceeds even without a mark.
bool disable_agent(std::optional<qx::settings_reserve>& reserve, const qx::switch_mark& mark) {
    if (!mark.was_protected) {
        leave_mark(mark);
        return true;
    }
    return reserve_space(reserve) && leave_mark(mark) &&
           setMgmt::setKey(protection_key(), "0") >= 0;
}

bool enable_agent() noexcept {
    if (insist([] { return setMgmt::setKey(protection_key(), "1") >= 0; })) {
        return true;
    }
    insist([] {
        QX_LOG(qx::log::level::error, "Could not enable back the agent");
        return true;
    });
    return false;
}

void remove_mark() noexcept {
    insist([] {
        if (qx::remove_switch_mark() < 0) {
            QX_LOG(qx::log::level::warning, "Could not remove the mark of the switch: {:s}",
                   qx::last_error().reason);
        }
        return true;
    });
}

void start_connector(const Connector& connector, std::chrono::milliseconds grace) noexcept {
    run(connector.script, "start", grace);
    run(connector.daemon, "-start", grace);
}

int note_unwritten_settings() {
    return note_failure({message::settings_are_not_written, qx::last_error().reason});
}

// Returns "" if the deployment is unknown.
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

// Restores protection before anything else, because the connector may hang.
void restore(const qx::switch_mark& mark, std::chrono::milliseconds grace) {
    const bool is_off = mark.was_protected && setMgmt::getKeyValue(protection_key(), 0) == 0;
    std::optional<qx::settings_reserve> reserve;
    if (is_off) {
        reserve_space(reserve);
    }
    const bool is_restored = !is_off || enable_agent();
    if (!mark.entrypoint.empty() &&
        setMgmt::getKeyValue(default_entrypoint_key(), std::string()) == mark.entrypoint) {
        delete_previous_registration();
    }
    const Connector connector = find_connector();
    std::string refusal;
    if (can_be_run(connector, refusal)) {
        start_connector(connector, grace);
    }
    if (is_restored) {
        remove_mark();
    }
}

// Reads the mark of an interrupted switch. Returns whether there is one.
bool read_mark(std::optional<qx::switch_mark>& mark) {
    if (qx::read_switch_mark(mark) < 0) {
        QX_LOG(qx::log::level::warning, "Could not look for an interrupted switch: {:s}",
               qx::last_error().reason);
    }
    return mark.has_value();
}

// Repairs an interrupted switch, if there is one. The caller holds the switch lock; otherwise the
// mark could belong to a running switch.
int repair_under_lock(std::chrono::milliseconds grace) {
    std::optional<qx::switch_mark> mark;
    if (!read_mark(mark)) {
        return kSuccess;
    }
    constexpr const char* notice = "a deployment switch was interrupted; restoring protection "
                                   "and starting the connector";
    QX_LOG(qx::log::level::warning, "{:s}", notice);
    print_notice(notice);
    const HeldSignals held;
    if (setMgmt::init() < 0) {
        return print_unreadable_settings();
    }
    restore(*mark, grace);
    return kSuccess;
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
    const qx::io::descriptor turn = qx::lock_switch();
    // If another switch was killed while this one waited, protection may be off.
    if (const int status = turn ? repair_under_lock(grace) : kSuccess; status != kSuccess) {
        return status;
    }
    // Read the store again: another switch may have changed it since the program started.
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

    // Lock the settings before signals are blocked, so that a signal can end the wait for the lock.
    std::optional<qx::settings_lock> settings(std::in_place);
    const HeldSignals held;
    if (setMgmt::init() < 0) {
        return print_unreadable_settings();
    }
    const bool was_protected = setMgmt::getKeyValue(protection_key(), 0) != 0;
    std::optional<qx::settings_reserve> reserve;
    if (!disable_agent(reserve, {was_protected, entrypoint})) {
        QX_LOG(qx::log::level::error, "Could not disable the agent");
        const int status = note_unwritten_settings();
        remove_mark();
        return status;
    }
    settings.reset();
    const qx::scope_guard enable_again([&] {
        if (!was_protected || enable_agent()) {
            remove_mark();
        }
    });

    const bool is_stopped =
        run(connector.script, "stop", grace) && run(connector.daemon, "-stop", grace);
    const qx::scope_guard restart([&] { start_connector(connector, grace); });
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

int repair_interrupted_switch(std::chrono::milliseconds grace) {
    std::optional<qx::switch_mark> mark;
    if (!read_mark(mark)) {
        return kSuccess;
    }
    const qx::io::descriptor turn = qx::try_lock_switch();
    return turn ? repair_under_lock(grace) : kSuccess;
}

int run_set_quillet_location(const std::string& deployment) {
    const int result = setMgmt::setKey(qx::kQuilletUpdateLocationKey.to_string(), deployment);
    if (result < 0) {
        note_unwritten_settings();
    }
    return result;
}

} // namespace qx::manage
