// The agent's settings: a store of strings under hierarchical keys, which the agent's programs
// share. Everything here is for the main thread only.
#pragma once

#include "base/descriptor.h"
#include "qx/constant_path.h"
#include "qx/string_view.h"

#include <optional>
#include <string>
#include <utility>

namespace qx {

/// The parent key of the cloud connector's entry points. Its child "default" has the name of the
/// entry point in use.
inline constexpr constant_path kCirrelEntrypointsKey("/cirrel/entrypoints");
/// The location from which the update component fetches updates: "production" or "staging".
inline constexpr constant_path kQuilletUpdateLocationKey("/quillet/update_location");
/// "1" while the agent protects, "0" while it is switched off.
inline constexpr constant_path kProtectionEnabledKey("/agent/protection_enabled");
/// The time of the agent's next query for default settings.
inline constexpr constant_path
    kDefaultSettingsNextQueryTsPath("/agent/default_settings/next_query_ts");
/// The keys of the agent's registration.
inline constexpr const char* kRegistrationMetadataKeys[] = {
    "/cirrel/registration/router_id",
    "/cirrel/registration/token",
    "/cirrel/registration/timestamp",
};

/// Each deployment (one of the maker's clouds) with the name of the entry point for it.
inline constexpr std::pair<string_view, const char*> kCloudDeploymentMap[] = {
    {"production", "prod"},
    {"staging", "stage"},
    {"development", "dev"},
};

/// Keys of the paths of the connector's files. After each key comes the path to use if the key is
/// not set.
inline constexpr constant_path kCirrelIniKey("/cirrel/qxnc_ini");
inline constexpr constant_path kCirrelIniDefault(common_path::configuration, "qxnc.ini");
inline constexpr constant_path kCirrelCaFileKey("/cirrel/ca_file");
inline constexpr constant_path kCirrelCaFileDefault(common_path::configuration,
                                                    "certs/ca-certificates.crt");
inline constexpr constant_path kCirrelUuidFileKey("/cirrel/uuid_file");
inline constexpr constant_path kCirrelUuidFileDefault(common_path::configuration, "qxnc.uuid");

/// The settings store. A function that fails, also for lack of memory, sets the last error
/// (qx/last_error.h). Only getKeyValue throws std::bad_alloc.
class setMgmt {
public:
    /// Reads the file of the store into memory. A missing file counts as an empty store. The last
    /// value of a duplicate key wins. Returns 0, or a negative number if the file cannot be read or
    /// is damaged. Then the log has an error line, and the file remains unchanged. Calls
    /// manage_json_memory().
    static int init();

    /// Releases the values. Until the next `init` all keys count as not set, and writes fail.
    static void uninit();

    /// Returns the value of `key`, or `default_value` if the key is not set. Does not read the
    /// file: changes by other processes become visible with the next init() or write of this
    /// process.
    static std::string getKeyValue(const std::string& key, const std::string& default_value);

    /// Returns the value of `key` as an integer. Returns `default_value` if the key is not set, or
    /// if its value is anything but a decimal integer in the range of int.
    static int getKeyValue(const std::string& key, int default_value);

    /// Sets `key` to `value`. Both are UTF-8, and `key` contains no NUL. Waits while another
    /// process writes, and keeps the changes of that process. Returns 0 when the change is durable,
    /// that is, survives a power cut. Returns a negative number on failure; the old store is then
    /// in place. The first write after `init` logs a warning if any user can write to the directory
    /// of the store, and another one if the file has an untrusted owner (see qx/program_check.h).
    static int setKey(const std::string& key, const std::string& value);

    /// Removes `key`. Waits, returns and warns like setKey. On failure the last error has number 4
    /// if there is no such key, and 5 if the store has no file yet.
    static int deleteKey(const std::string& key);
};

/// Locks the store against writes of other processes while the object lives. This process writes as
/// usual. The constructor waits without limit while another process holds the lock; a fatal signal
/// still ends the process. If the lock cannot be taken, the constructor reports nothing, and each
/// write takes the lock itself, as without this object. The constructor throws std::bad_alloc if
/// memory runs out. Only one object may exist at a time.
class settings_lock {
public:
    settings_lock();
    settings_lock(const settings_lock&) = delete;
    settings_lock& operator=(const settings_lock&) = delete;
    ~settings_lock();
};

/// Reserves disk space for one later change of the store, so that this change succeeds on a full
/// disk. While the object lives, `setKey` with the constructor's `key` and `value` uses the
/// reserved space if the disk is full; other changes do not.
///
/// The reserve is a file beside the store, large enough for the store with this change and 4 KiB of
/// other changes. The constructor replaces a file that a killed process left behind, and waits for
/// the lock of the store, like a write. The destructor frees unused space. Only one object may
/// exist at a time.
///
/// A log-structured or copy-on-write file system needs new blocks even to overwrite a file. There
/// the reserve is freed right before the change, and another process may take the space first.
class settings_reserve {
public:
    /// Reserves the space for setting `key` to `value`. Does not throw; see operator bool.
    settings_reserve(const std::string& key, const std::string& value);
    settings_reserve(const settings_reserve&) = delete;
    settings_reserve& operator=(const settings_reserve&) = delete;
    ~settings_reserve();

    /// Returns whether the reserve still exists. If the constructor could not make the reserve, the
    /// last error has the reason.
    explicit operator bool() const;
};

/// Prevents other processes from switching the deployment until the returned descriptor is closed.
/// Waits without limit while another process holds the lock; a fatal signal still ends the process.
/// On failure sets the last error and returns an empty descriptor. Throws std::bad_alloc if memory
/// runs out.
io::descriptor lock_switch();

/// Like lock_switch, but does not wait: returns an empty descriptor if another process holds the
/// lock, or on failure. Does not set the last error. Throws std::bad_alloc if memory runs out.
io::descriptor try_lock_switch();

/// The mark of a deployment switch in progress: what a later run needs to repair an interrupted
/// switch. The switch writes the mark to a file beside the store before its first change. After a
/// power cut or SIGKILL a later run finds the file.
struct switch_mark {
    bool was_protected = true; ///< whether protection was on before the switch
    std::string entrypoint;    ///< the entry point to switch to, in UTF-8
};

/// Writes `mark`, in place of an earlier one. Returns 0 when the mark is durable. On failure sets
/// the last error and returns a negative number. The caller must hold the lock of lock_switch().
int write_switch_mark(const switch_mark& mark);

/// Reads the mark into `mark`, or empties `mark` if there is no file. A damaged file counts as the
/// mark of a switch that began with protection on. Returns 0. If the file cannot be read, sets the
/// last error and returns a negative number.
int read_switch_mark(std::optional<switch_mark>& mark);

/// Removes the mark, if there is one. Returns 0 when the removal is durable. On failure sets the
/// last error and returns a negative number. The caller must hold the lock of lock_switch().
int remove_switch_mark();

} // namespace qx
