// The private machine that a test runs on, and the small things that tests do to it.
#pragma once

#include "base/install.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace qx::test {

namespace fs = std::filesystem;

/// The agent's install directory in the test's world, found through the fallback name.
inline const fs::path kInstallDir = QX_INSTALL_DIRECTORY;
/// What the agent keeps there.
inline const fs::path kSettingsFile = kInstallDir / "etc/settings.json";
inline const fs::path kLogFile = kInstallDir / "var/log/qxagent-manage.log";
inline const fs::path kVersionFile = QX_INSTALL_DIRECTORY QX_VERSION_FILE;

/// Whether the test program runs in an emulator, which lacks some details of some system calls.
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

/// Ends the process, with errno and what was tried on standard error, unless that went well.
void require(bool ok, const char* what);

/// Moves the program, whose words are `argv`, into a world of its own, by starting it again:
/// private users, mounts and network, an empty /opt, and an /etc that holds only what programs need
/// to start (passwd without the agent's user). Broker sockets are abstract, so the private network
/// separates them too. Ends the process when that cannot be done.
void enter_world(char** argv);

/// Writes `text` to `file`, making its directories.
void write_file(const fs::path& file, std::string_view text);

/// The whole content of `file`; a failed expectation and "" when it cannot be read.
std::string read_file(const fs::path& file);

/// The lines of a text, without their ends.
std::vector<std::string> lines_of(const std::string& text);

/// Writes a shell script that can be run.
void write_program(const fs::path& file, std::string_view script);

/// The rights of `file`.
fs::perms mode(const fs::path& file);

/// The number in the environment variable `name`, or what it is otherwise.
unsigned from_environment(const char* name, unsigned otherwise);

/// A directory under /tmp that goes when the object does.
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

/// Makes the calling thread act as another user while the object lives. Other users, up to 65535,
/// exist only when root runs the tests.
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

/// The descriptors that a process, or this one, has open, sorted.
std::vector<int> open_descriptors(const std::string& process = "self");

/// The memory that a process, or this one, has in use, in KiB.
long resident_kib(const std::string& process = "self");

} // namespace qx::test
