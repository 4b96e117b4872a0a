// The private machine that a test runs on, and the small things that tests do to it.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace qx::test {

/// The agent's install directory in the test's world, found through the fallback name.
inline const std::filesystem::path kInstallDir = "/opt/norvane";

/// Whether the test program runs in an emulator, which lacks some details of some system calls.
inline constexpr bool kEmulated = !std::string_view(QX_EMULATOR).empty();

/// Ends the process, with errno and what was tried on standard error, unless that went well.
void require(bool ok, const char* what);

/// Moves the program, whose words are `argv`, into a world of its own, by starting it again:
/// private users, mounts and network, an empty /opt, and an /etc that holds only what programs need
/// to start (passwd without the agent's user). Broker sockets are abstract, so the private network
/// separates them too. Ends the process when that cannot be done.
void enter_world(char** argv);

/// Writes `text` to `file`, making its directories.
void write_file(const std::filesystem::path& file, std::string_view text);

/// The whole content of `file`; a failed expectation and "" when it cannot be read.
std::string read_file(const std::filesystem::path& file);

/// A directory under /tmp that goes when the object does.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory();

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

/// The descriptors that this process has open, sorted.
std::vector<int> open_descriptors();

} // namespace qx::test
