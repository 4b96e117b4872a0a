// The private environment of a test, and helpers that change and inspect it.
#pragma once

#include "base/install.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace qx::test {

namespace fs = std::filesystem;

/// The agent's default install directory.
inline const fs::path kInstallDir = QX_INSTALL_DIRECTORY;
inline const fs::path kSettingsFile = kInstallDir / "etc/settings.json";
inline const fs::path kLogFile = kInstallDir / "var/log/qxagent-manage.log";
inline const fs::path kVersionFile = QX_INSTALL_DIRECTORY QX_VERSION_FILE;

/// Whether the test program runs in an emulator, which implements some system calls incompletely.
inline constexpr bool kEmulated = !std::string_view(QX_EMULATOR).empty();

/// Whether this is a build with a sanitizer.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSanitized = true;
#elif defined(__has_feature)
inline constexpr bool kSanitized =
    __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
inline constexpr bool kSanitized = false;
#endif

/// If `ok` is false, prints `what` and errno on standard error and ends the process.
void require(bool ok, const char* what);

/// Executes this program again, with the arguments `argv`, in private user, mount and network
/// namespaces. Broker sockets are abstract, so the network namespace isolates them too. Mounts an
/// empty /opt, and an /etc with only the loader's cache and a passwd that lacks the agent's user.
/// Ends the process on failure.
void enter_world(char** argv);

/// Writes `text` to `file` and creates missing directories. Ends the process on failure.
void write_file(const fs::path& file, std::string_view text);

/// Returns the content of `file`. Adds a test failure and returns "" if the file cannot be read.
std::string read_file(const fs::path& file);

/// Splits `text` into lines and removes the line feeds.
std::vector<std::string> lines_of(const std::string& text);

/// Writes an executable shell script. Adds the "#!" line.
void write_program(const fs::path& file, std::string_view script);

/// Returns the permissions of `file`.
fs::perms mode(const fs::path& file);

/// Returns the number in the environment variable `name`, or `otherwise` if it is not set.
unsigned from_environment(const char* name, unsigned otherwise);

/// A directory below /tmp, which the destructor removes.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory();

    [[nodiscard]] const fs::path& path() const { return path_; }

private:
    fs::path path_;
};

/// Lets the calling thread act as another user while the object lives. Converts to false if the
/// switch failed. The users 0 to 65535 exist if root runs the tests; otherwise only root exists.
class OtherUser {
public:
    explicit OtherUser(unsigned uid);
    OtherUser(const OtherUser&) = delete;
    OtherUser& operator=(const OtherUser&) = delete;
    ~OtherUser();

    explicit operator bool() const { return changed_; }

private:
    bool changed_;
};

/// Returns the open descriptors of a process, sorted.
std::vector<int> open_descriptors(const std::string& process = "self");

/// Returns the resident memory of a process in KiB.
long resident_kib(const std::string& process = "self");

} // namespace qx::test
