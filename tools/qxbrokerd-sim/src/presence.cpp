#include "presence.h"

#include "base/descriptor.h"
#include "base/install.h"
#include "base/protocol.h"
#include "failure.h"
#include "text.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

namespace qx::sim {
namespace {

std::string reason() {
    return std::strerror(errno);
}

io::descriptor bind_socket() {
    io::descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sockaddr_un address{};
    const socklen_t size = qx_broker_address(&address);
    if (!socket || ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), size) != 0) {
        const bool taken = errno == EADDRINUSE;
        throw Failure(
            taken ? concat({"another broker has the socket '@" QX_BROKER_SOCKET "' already"})
                  : concat({"cannot make the socket: ", reason()}));
    }
    return socket;
}

/// Returns whether `fd` is a regular file with at most one link. A file without a link has just
/// been removed by another broker; is_same_file() detects that.
bool is_plain_file(int fd) {
    struct stat status {};
    return ::fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink <= 1;
}

bool is_same_file(int fd, const std::string& name) {
    struct stat open {};
    struct stat named {};
    return ::fstat(fd, &open) == 0 && ::lstat(name.c_str(), &named) == 0 &&
           open.st_dev == named.st_dev && open.st_ino == named.st_ino;
}

} // namespace

MadeDirectories::MadeDirectories(const std::string& path) {
    for (std::size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
        const std::string directory = path.substr(0, end);
        if (::mkdir(directory.c_str(), 0755) == 0) {
            made_.push_back(directory);
        } else if (errno != EEXIST) {
            const std::string why = reason();
            remove();
            throw Failure(concat({"cannot make the directory '", directory, "': ", why}));
        }
        if (end == std::string::npos) {
            return;
        }
    }
}

void MadeDirectories::remove() {
    while (!made_.empty()) {
        ::rmdir(made_.back().c_str());
        made_.pop_back();
    }
}

Presence::Presence(const std::string& install_dir, std::string_view version, bool lock)
    : listener_(bind_socket())
    , directories_(install_dir + QX_RUN_DIRECTORY)
    , version_name_(install_dir + QX_VERSION_FILE) {
    hold_version_file(version, lock);
    if (::listen(listener_.get(), SOMAXCONN) != 0) {
        const std::string why = reason();
        remove_version_file();
        throw Failure(concat({"cannot listen: ", why}));
    }
}

Presence::~Presence() {
    remove_version_file();
}

bool Presence::set_lock(short type) const {
    struct flock whole {};
    whole.l_type = type;
    whole.l_whence = SEEK_SET;
    return ::fcntl(version_file_.get(), F_SETLK, &whole) == 0;
}

/// Opens and locks the version file. Returns false if another broker has just removed the file; the
/// caller then retries.
bool Presence::open_version_file() {
    constexpr int flags = O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    version_file_ = io::descriptor(::open(version_name_.c_str(), flags, 0644));
    const bool is_special =
        version_file_ ? !is_plain_file(version_file_.get()) : errno == ELOOP || errno == EISDIR;
    if (is_special) {
        throw Failure(concat({"'", version_name_, "' is not a regular file with one link"}));
    }
    if (!version_file_) {
        throw Failure(concat({"cannot open '", version_name_, "': ", reason()}));
    }
    if (!set_lock(F_WRLCK)) {
        const bool held = errno == EAGAIN || errno == EACCES;
        throw Failure(held ? concat({"another broker holds '", version_name_, "' already"})
                           : concat({"cannot lock '", version_name_, "': ", reason()}));
    }
    return is_same_file(version_file_.get(), version_name_);
}

void Presence::write_version(std::string_view version) {
    const auto size = static_cast<ssize_t>(version.size());
    if (::ftruncate(version_file_.get(), 0) != 0 ||
        ::write(version_file_.get(), version.data(), version.size()) != size) {
        const std::string why = reason();
        remove_version_file();
        throw Failure(concat({"cannot write '", version_name_, "': ", why}));
    }
}

// Locks the file during the write even if `lock` is not set. Otherwise this broker could
// overwrite the file of another one.
void Presence::hold_version_file(std::string_view version, bool lock) {
    while (!open_version_file()) {
    }
    write_version(version);
    if (!lock) {
        static_cast<void>(set_lock(F_UNLCK));
    }
}

// Locks the file first: if it was unlocked, it may belong to another broker by now.
void Presence::remove_version_file() const {
    if (set_lock(F_WRLCK) && is_same_file(version_file_.get(), version_name_)) {
        ::unlink(version_name_.c_str());
    }
}

} // namespace qx::sim
