// The check whether another user could have replaced a program.
#pragma once

#include <set>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace qx {

/// Examines programs of the agent before this process runs them with its own rights. A program, and
/// each directory from the install directory down to it, must belong to root, to this process's
/// user, to the owner of the install directory or to the agent's user, and must not be writable by
/// others. The check follows links. If a link leads out of the install directory, the rule applies
/// to every directory from "/" down. Main thread only.
class program_check {
public:
    /// Finds the install directory.
    program_check();

    /// Returns whether `program`, a path below the install directory, may be run. Returns true also
    /// if the program does not exist, because then no user has replaced it. On false, reason()
    /// tells why.
    bool accepts(const std::string& program);

    /// Returns why the last program was refused. Valid until the next call of accepts().
    [[nodiscard]] const std::string& reason() const { return reason_; }

    /// Returns the examined files and directories that are writable by their group.
    [[nodiscard]] const std::set<std::string>& group_writable() const { return group_writable_; }

private:
    using pieces = std::vector<std::string>; ///< pieces of a path, in reverse order

    bool refuse(const std::string& path, const std::string& what);
    // Each returns false, with the reason recorded, if the object is refused.
    bool accepts_owner(const std::string& path, const struct stat& status);
    bool accepts_one(const std::string& path, const struct stat& status);
    bool accepts_directory(const std::string& path);
    bool accepts_ancestors(const std::string& path);
    // Both advance `at` by one piece or link, and change the pieces that are left.
    bool follow(const std::string& link, std::string& at, pieces& left);
    bool step(const std::string& piece, std::string& at, pieces& left);

    std::string root_; ///< the resolved install directory; empty if there is none
    std::string reason_;
    std::set<std::string> group_writable_;
};

} // namespace qx
