// The agent's settings: texts under hierarchical keys, shared with the agent's other programs.
#pragma once

#include "base/descriptor.h"
#include "qx/constant_path.h"
#include "qx/string_view.h"

#include <optional>
#include <string>
#include <utility>

namespace qx {

/// The connector's entry points; the key of the one in use is this path and "default".
inline constexpr constant_path kCirrelEntrypointsKey("/cirrel/entrypoints");
/// Where the update component fetches from: "production" or "staging".
inline constexpr constant_path kQuilletUpdateLocationKey("/quillet/update_location");
/// "1" while the agent protects, "0" while it is switched off.
inline constexpr constant_path kProtectionEnabledKey("/agent/protection_enabled");
/// When the default settings are asked for next.
inline constexpr constant_path
    kDefaultSettingsNextQueryTsPath("/agent/default_settings/next_query_ts");
/// What the agent keeps about its registration.
inline constexpr const char* kRegistrationMetadataKeys[] = {
    "/cirrel/registration/router_id",
    "/cirrel/registration/token",
    "/cirrel/registration/timestamp",
};

/// The entry point of each cloud deployment, by the deployment's name.
inline constexpr std::pair<string_view, const char*> kCloudDeploymentMap[] = {
    {"production", "prod"},
    {"staging", "stage"},
    {"development", "dev"},
};

/// Keys that name a file of the connector, each with the file that is used when it is not set.
inline constexpr constant_path kCirrelIniKey("/cirrel/qxnc_ini");
inline constexpr constant_path kCirrelIniDefault(common_path::configuration, "qxnc.ini");
inline constexpr constant_path kCirrelCaFileKey("/cirrel/ca_file");
inline constexpr constant_path kCirrelCaFileDefault(common_path::configuration,
                                                    "certs/ca-certificates.crt");
inline constexpr constant_path kCirrelUuidFileKey("/cirrel/uuid_file");
inline constexpr constant_path kCirrelUuidFileDefault(common_path::configuration, "qxnc.uuid");

/// The settings store. Failures, a lack of memory among them, leave the last-error record; only
/// getKeyValue throws when memory is short. Main thread only.
class setMgmt {
public:
    /// Reads the store; where there is none yet, it is empty. Negative, with a line in the log and
    /// the last-error record, when it cannot be read or is damaged; the file is left alone. The
    /// last value of a duplicate key wins. Calls manage_json_memory() for a program that has not.
    static int init();
    static void uninit();

    /// The value of `key` as of `init` or this process's last write.
    static std::string getKeyValue(const std::string& key, const std::string& default_value);
    /// The same for a value that is, as a whole, a decimal integer; any other yields the default.
    static int getKeyValue(const std::string& key, int default_value);

    /// Stores a value: when 0 comes back it outlives a power cut, on a failure (negative) the old
    /// store is in place. Waits while another process writes, and keeps its changes. The first
    /// write logs a warning when others can write to the directory, and another when the store
    /// belongs to neither root, nor this user, the owner of the install directory or the agent's
    /// user.
    static int setKey(const std::string& key, const std::string& value);
    /// Removes a key, in the same way. Error 4 when there is no such key, 5 when there is no store
    /// yet.
    static int deleteKey(const std::string& key);
};

/// Keeps other processes from writing the store while it lives; this process writes as usual. The
/// constructor waits while another process writes; a signal that ends the process ends the wait.
/// If the lock cannot be taken, later writes fail with the reason. One at a time; main thread only.
class settings_lock {
public:
    settings_lock();
    settings_lock(const settings_lock&) = delete;
    settings_lock& operator=(const settings_lock&) = delete;
    ~settings_lock();
};

/// Reserves disk space for one later change of the store, so that a full disk cannot prevent it.
/// While the object lives, `setKey(key, value)` with the constructor's arguments uses the space
/// when the disk is full; no other change does. The space is a file beside the store, large enough
/// for the store with this change and 4 KiB of other changes; a file that a killed process left is
/// replaced. The constructor waits for the store's lock like a write. The destructor frees space
/// that was not used. On a file system that never overwrites in place (log-structured or
/// copy-on-write) the space is freed right before the change, so another writer could take it in
/// that moment. One object at a time; main thread only.
class settings_reserve {
public:
    settings_reserve(const std::string& key, const std::string& value);
    settings_reserve(const settings_reserve&) = delete;
    settings_reserve& operator=(const settings_reserve&) = delete;
    ~settings_reserve();

    /// Whether space is reserved. If the constructor failed, the last-error record says why.
    explicit operator bool() const;
};

/// Locks the deployment switch against other processes until the returned descriptor is closed.
/// Waits while another process holds the lock; a signal that ends the process ends the wait. On
/// failure the descriptor is empty and the last-error record says why.
io::descriptor lock_switch();

/// Does the same without waiting. The descriptor is empty while another process holds the lock.
io::descriptor try_lock_switch();

/// What a deployment switch must restore, noted in a file beside the store before its first change.
/// A switch that a power cut or SIGKILL interrupts leaves the file for a later run.
struct switch_mark {
    bool was_protected = true; ///< whether protection was on before the switch
    std::string entrypoint;    ///< the entry point to switch to
};

/// Writes the mark. When it returns 0 the mark outlives a power cut. Returns a negative number,
/// with the last-error record, on failure. Call it under lock_switch() only.
int write_switch_mark(const switch_mark& mark);

/// Stores the mark in `mark`, or nothing when there is none. A damaged mark counts as that of a
/// switch that began with protection on. Returns 0, or a negative number, with the last-error
/// record, when the mark cannot be read.
int read_switch_mark(std::optional<switch_mark>& mark);

/// Removes the mark for good. Returns 0, or a negative number with the last-error record. Call it
/// under lock_switch() only.
int remove_switch_mark();

} // namespace qx
