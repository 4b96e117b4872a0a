// The check whether another user could have replaced a program.
#pragma once

#include <set>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace qx {

/// Examines programs of the agent before this process runs them with its own rights.
///
/// A program and each directory from the install directory down to it must have a trusted owner:
/// root, this process's user, the owner of the install directory or the agent's user. Neither
/// the program nor any of the directories may be writable by others. The check follows symbolic
/// links. If a link leads out of the install directory, the rule applies to every directory from
/// "/" down.
///
/// The constructor and accepts() throw std::bad_alloc if memory runs out. Usable on any thread, but
/// threads must not share an object.
class program_check {
public:
    /// Resolves the symbolic links of the install directory's path.
    program_check();

    /// Returns whether `program` may be run. Its path must begin with the unresolved path of the
    /// install directory. Returns true also if the program does not exist, because then no user has
    /// replaced it. After false, reason() tells why.
    bool accepts(const std::string& program);

    /// Returns in one line why the last refused program was refused; empty if none was. The next
    /// call of accepts() may change the reason.
    [[nodiscard]] const std::string& reason() const { return reason_; }

    /// Returns the group-writable files and directories that accepts() has found so far.
    [[nodiscard]] const std::set<std::string>& group_writable() const { return group_writable_; }

private:
    using pieces = std::vector<std::string>; ///< pieces of a path, in reverse order

    // Sets reason_ to the path in quotes and `what`. Returns false.
    bool refuse(const std::string& path, const std::string& what);
    // Each returns false, with the reason in reason_, if a file or directory is refused.
    bool accepts_owner(const std::string& path, const struct stat& status);
    bool accepts_one(const std::string& path, const struct stat& status);
    bool accepts_directory(const std::string& path);
    bool accepts_ancestors(const std::string& path);
    // `step` advances the path `at` by one piece. If that piece is a symbolic link, `step` calls
    // `follow` instead, which adds the pieces of the link's target to `left`, the pieces still to
    // be walked, and sets `at` to "/" if the target is absolute.
    bool follow(const std::string& link, std::string& at, pieces& left);
    bool step(const std::string& piece, std::string& at, pieces& left);

    std::string root_; ///< the resolved install directory; empty if there is none
    std::string reason_;
    std::set<std::string> group_writable_;
};

} // namespace qx
