// Whether another user of the machine could have replaced a program.
#pragma once

#include <set>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace qx {

/// Examines programs of the agent before they are run with this process's rights. A program and
/// each directory from the install directory down to it must belong to root, this process's user,
/// the owner of the install directory or the agent's user, and must not be writable by others.
/// Links are followed; when one leads out of the install directory, the same holds for every
/// directory from "/" down. Main thread only.
class program_check {
public:
    program_check();

    /// Whether `program`, a path in the install directory, may be run. True also for a program that
    /// does not exist: nobody has replaced it.
    bool accepts(const std::string& program);

    /// Why the last program was not accepted.
    [[nodiscard]] const std::string& reason() const { return reason_; }

    /// Those of the examined files and directories that their group may write.
    [[nodiscard]] const std::set<std::string>& group_writable() const { return group_writable_; }

private:
    using pieces = std::vector<std::string>; ///< of a path, in reverse order

    bool refuse(const std::string& path, const std::string& what);
    bool accepts_owner(const std::string& path, const struct stat& status);
    bool accepts_one(const std::string& path, const struct stat& status);
    bool accepts_directory(const std::string& path);
    bool accepts_ancestors(const std::string& path);
    bool follow(const std::string& link, std::string& at, pieces& left);
    bool step(const std::string& piece, std::string& at, pieces& left);

    std::string root_; ///< the install directory without links; empty when it cannot be found
    std::string reason_;
    std::set<std::string> group_writable_;
};

} // namespace qx
