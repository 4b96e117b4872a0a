// The signs of a running broker: the locked version file and the listening socket.
#pragma once

#include "base/descriptor.h"

#include <string>
#include <string_view>
#include <vector>

namespace qx::sim {

/// Creates the missing directories of a path. The destructor removes the created directories that
/// are empty.
class MadeDirectories {
public:
    /// Creates `path` and its parents. Throws Failure.
    explicit MadeDirectories(const std::string& path);
    MadeDirectories(const MadeDirectories&) = delete;
    MadeDirectories& operator=(const MadeDirectories&) = delete;
    ~MadeDirectories() { remove(); }

private:
    void remove();

    std::vector<std::string> made_;
};

/// Lets clients find and reach the broker while the object lives. Never changes a version file that
/// another broker has locked.
class Presence {
public:
    /// Listens on the broker's socket and writes the version file below `install_dir`. If `lock` is
    /// set, the file stays locked. Throws Failure on an error, and if the version file is not a
    /// regular file with one link.
    Presence(const std::string& install_dir, std::string_view version, bool lock);
    Presence(const Presence&) = delete;
    Presence& operator=(const Presence&) = delete;
    ~Presence();

    /// The listening socket, which is non-blocking.
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
