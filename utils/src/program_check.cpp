#include "qx/program_check.h"

#include "install_directory.h"
#include "qxpath.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <unistd.h>

namespace qx {
namespace {

constexpr int kMostSteps = 1000; // limit that ends a loop of links

void push_pieces(std::vector<std::string>& pieces, const std::string& path) {
    std::size_t end = path.size();
    while (end > 0) {
        const std::size_t slash = path.rfind('/', end - 1);
        const std::size_t begin = slash == std::string::npos ? 0 : slash + 1;
        pieces.push_back(path.substr(begin, end - begin));
        end = slash == std::string::npos ? 0 : slash;
    }
}

std::string parent_of(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string below(const std::string& directory, const std::string& piece) {
    return (directory == "/" ? "" : directory) + "/" + piece;
}

std::string link_target(const std::string& link) {
    char target[PATH_MAX];
    const ssize_t length = ::readlink(link.c_str(), target, sizeof target);
    return std::string(target, length < 0 ? 0 : static_cast<std::size_t>(length));
}

} // namespace

program_check::program_check() {
    char resolved[PATH_MAX];
    if (::realpath(install_directory().c_str(), resolved) != nullptr) {
        root_ = resolved;
    }
}

bool program_check::refuse(const std::string& path, const std::string& what) {
    reason_ = "'" + path + "' " + what;
    return false;
}

bool program_check::accepts_owner(const std::string& path, const struct stat& status) {
    return qxpath_is_trusted_user(status.st_uid) != 0 ||
           refuse(path, "belongs to user " + std::to_string(status.st_uid));
}

bool program_check::accepts_one(const std::string& path, const struct stat& status) {
    if (!accepts_owner(path, status)) {
        return false;
    }
    if ((status.st_mode & S_IWOTH) != 0) {
        return refuse(path, "can be written by others");
    }
    if ((status.st_mode & S_IWGRP) != 0) {
        group_writable_.insert(path);
    }
    return true;
}

bool program_check::accepts_directory(const std::string& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        return refuse(path, std::strerror(errno));
    }
    return accepts_one(path, status);
}

bool program_check::accepts_ancestors(const std::string& path) {
    return accepts_directory(path) &&
           (path == "/" || path == root_ || accepts_ancestors(parent_of(path)));
}

bool program_check::follow(const std::string& link, std::string& at, pieces& left) {
    const std::string target = link_target(link);
    if (target.empty()) {
        return refuse(link, "leads nowhere");
    }
    push_pieces(left, target);
    if (target.front() != '/') {
        return true;
    }
    at = "/";
    return accepts_directory(at);
}

bool program_check::step(const std::string& piece, std::string& at, pieces& left) {
    if (piece.empty() || piece == ".") {
        return true;
    }
    if (piece == "..") {
        at = parent_of(at);
        return accepts_ancestors(at);
    }
    const std::string next = below(at, piece);
    struct stat status {};
    if (::lstat(next.c_str(), &status) != 0) {
        left.clear();
        return errno == ENOENT || errno == ENOTDIR || refuse(next, std::strerror(errno));
    }
    if (S_ISLNK(status.st_mode)) {
        return accepts_owner(next, status) && follow(next, at, left);
    }
    at = next;
    return accepts_one(next, status);
}

bool program_check::accepts(const std::string& program) {
    std::string at = root_;
    if (at.empty()) {
        return refuse(install_directory(), "cannot be found");
    }
    pieces left;
    push_pieces(left, program.substr(install_directory().size()));
    bool accepted = accepts_directory(at);
    for (int steps = 0; accepted && !left.empty(); ++steps) {
        const std::string piece = left.back();
        left.pop_back();
        accepted =
            steps < kMostSteps ? step(piece, at, left) : refuse(program, "has too many links");
    }
    return accepted;
}

} // namespace qx
