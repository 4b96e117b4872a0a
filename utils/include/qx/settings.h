// The agent's settings: a store of texts under hierarchical keys, shared with the agent's other
// programs.
#pragma once

#include "base/descriptor.h"
#include "qx/constant_path.h"
#include "qx/string_view.h"

#include <optional>
#include <string>
#include <utility>

namespace qx {

/// Parent of the connector's entry points; its child "default" is the one in use.
inline constexpr constant_path kCirrelEntrypointsKey("/cirrel/entrypoints");
/// The location that the update component fetches from: "production" or "staging".
inline constexpr constant_path kQuilletUpdateLocationKey("/quillet/update_location");
/// "1" while the agent protects, "0" while it is switched off.
inline constexpr constant_path kProtectionEnabledKey("/agent/protection_enabled");
/// The time of the next query for default settings.
inline constexpr constant_path
    kDefaultSettingsNextQueryTsPath("/agent/default_settings/next_query_ts");
/// The keys of the agent's registration.
inline constexpr const char* kRegistrationMetadataKeys[] = {
    "/cirrel/registration/router_id",
    "/cirrel/registration/token",
    "/cirrel/registration/timestamp",
};

/// Pairs of a cloud deployment and its entry point.
inline constexpr std::pair<string_view, const char*> kCloudDeploymentMap[] = {
    {"production", "prod"},
    {"staging", "stage"},
    {"development", "dev"},
};

/// Keys whose values name a file of the connector, each followed by the file to use if the key is
/// not set.
inline constexpr constant_path kCirrelIniKey("/cirrel/qxnc_ini");
inline constexpr constant_path kCirrelIniDefault(common_path::configuration, "qxnc.ini");
inline constexpr constant_path kCirrelCaFileKey("/cirrel/ca_file");
inline constexpr constant_path kCirrelCaFileDefault(common_path::configuration,
                                                    "certs/ca-certificates.crt");
inline constexpr constant_path kCirrelUuidFileKey("/cirrel/uuid_file");
inline constexpr constant_path kCirrelUuidFileDefault(common_path::configuration, "qxnc.uuid");

/// The settings store. A call that fails, also for lack of memory, records the reason in the last
/// error (qx/last_error.h). Only getKeyValue throws std::bad_alloc. Main thread only.
class setMgmt {
public:
    /// Opens the store and reads it. A missing file counts as an empty store. The last value of a
    /// duplicate key wins. Returns 0, or a negative number, with a line in the log, if the file
    /// cannot be read or is damaged; the file remains unchanged. Calls manage_json_memory().
    static int init();

    /// Closes the store.
    static void uninit();

    /// Returns the value of `key` as of `init` or of this process's last write, or `default_value`
    /// if the key is not set.
    static std::string getKeyValue(const std::string& key, const std::string& default_value);

    /// Returns the value as an integer, or `default_value` if the whole value is not a decimal
    /// integer that fits.
    static int getKeyValue(const std::string& key, int default_value);

    /// Sets `key` to `value`, both UTF-8. Waits while another process writes, and keeps its
    /// changes. Returns 0 when the change is durable, that is, survives a power cut. Returns a
    /// negative number on failure; the old store is then in place. The first write logs a warning
    /// if others can write to the directory, and another one if the store does not belong to root,
    /// this process's user, the owner of the install directory or the agent's user.
    static int setKey(const std::string& key, const std::string& value);

    /// Removes `key` in the same way. The last error has number 4 if there is no such key, and 5 if
    /// there is no store yet.
    static int deleteKey(const std::string& key);
};

/// Prevents other processes from writing the store while the object lives; this process writes as
/// usual. The constructor waits while another process writes; a fatal signal still ends the
/// process. If the lock cannot be taken, later writes fail with the reason. One object at a time;
/// main thread only.
class settings_lock {
public:
    settings_lock();
    settings_lock(const settings_lock&) = delete;
    settings_lock& operator=(const settings_lock&) = delete;
    ~settings_lock();
};

/// Reserves disk space for one later change of the store, so that a full disk cannot prevent it.
/// While the object lives, `setKey(key, value)` with the constructor's arguments uses the reserved
/// space if the disk is full; no other change does. The reserve is a file beside the store, large
/// enough for the store with this change and 4 KiB of other changes. It replaces a file that a
/// killed process left behind. The constructor waits for the store's lock, like a write. The
/// destructor frees unused space. A file system that never overwrites in place (log-structured or
/// copy-on-write) needs new blocks: the reserve is freed right before the change, and another
/// writer could take the space in that moment. One object at a time; main thread only.
class settings_reserve {
public:
    settings_reserve(const std::string& key, const std::string& value);
    settings_reserve(const settings_reserve&) = delete;
    settings_reserve& operator=(const settings_reserve&) = delete;
    ~settings_reserve();

    /// Returns whether space is reserved. If the constructor failed, the last error has the reason.
    explicit operator bool() const;
};

/// Locks the deployment switch against other processes until the returned descriptor is closed.
/// Waits while another process holds the lock; a fatal signal still ends the process. On failure
/// the descriptor is empty and the last error has the reason. Main thread only.
io::descriptor lock_switch();

/// Does the same without waiting. The descriptor is empty if another process holds the lock, or on
/// failure, which is not recorded.
io::descriptor try_lock_switch();

/// The state that a deployment switch must restore. The switch writes it to a file beside the store
/// before its first change. After a power cut or SIGKILL a later run finds the file.
struct switch_mark {
    bool was_protected = true; ///< whether protection was on before the switch
    std::string entrypoint;    ///< the entry point to switch to
};

/// Writes the mark. Returns 0 when the mark is durable, or a negative number, with the last error,
/// on failure. Call it only while holding lock_switch().
int write_switch_mark(const switch_mark& mark);

/// Reads the mark into `mark`, which is empty if there is none. A damaged mark counts as the mark
/// of a switch that began with protection on. Returns 0, or a negative number, with the last error,
/// if the mark cannot be read.
int read_switch_mark(std::optional<switch_mark>& mark);

/// Removes the mark. Returns 0 when the removal is durable, or a negative number, with the last
/// error, on failure. Call it only while holding lock_switch().
int remove_switch_mark();

} // namespace qx
