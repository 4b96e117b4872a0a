// How a broker shows that it is there: the locked version file and the listening socket.
#pragma once

#include "base/descriptor.h"

#include <string>
#include <string_view>
#include <vector>

namespace qx::sim {

/// The directories of a path that had to be made. Removed again, where empty, when the object goes.
class MadeDirectories {
public:
    /// Makes `path` and its parents; throws Failure.
    explicit MadeDirectories(const std::string& path);
    MadeDirectories(const MadeDirectories&) = delete;
    MadeDirectories& operator=(const MadeDirectories&) = delete;
    ~MadeDirectories() { remove(); }

private:
    void remove();

    std::vector<std::string> made_;
};

/// A broker's presence, from construction to destruction. Nothing of another broker that holds its
/// lock is touched.
class Presence {
public:
    /// Listens, and writes the version file below `install_dir`, which stays locked if `lock` says
    /// so. A file that is not regular or has further links is left alone. Throws Failure.
    Presence(const std::string& install_dir, std::string_view version, bool lock);
    Presence(const Presence&) = delete;
    Presence& operator=(const Presence&) = delete;
    ~Presence();

    /// The listening socket; non-blocking.
    [[nodiscard]] int listener() const { return listener_.get(); }

private:
    void hold_version_file(std::string_view version, bool lock);
    void write_version(std::string_view version);
    bool open_version_file();
    [[nodiscard]] bool set_lock(short type) const;
    void remove_version_file() const;

    io::descriptor listener_;
    MadeDirectories directories_;
    std::string version_name_;
    io::descriptor version_file_;
};

} // namespace qx::sim
