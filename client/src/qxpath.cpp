#include "qxpath.h"
#include "install_path.h"

#include "base/descriptor.h"
#include "base/install.h"
#include "base/open_file.h"
#include "base/retry.h"
#include "mutex.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <span>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace qxplix {
namespace {

constexpr char kLink[] = "/etc/norvane-plix";
constexpr char kUser[] = "norvane-plix";
constexpr char kPasswd[] = "/etc/passwd";
constexpr std::size_t kLongestVersionFileName = 4094;
constexpr char kLinkEnding[] = QX_CONFIGURATION_DIRECTORY;
constexpr std::size_t kLinkEndingLength = sizeof kLinkEnding - 1;

struct install_path {
    mutex guard;
    char text[kPathSize] QX_GUARDED_BY(guard) = {};
    int known QX_GUARDED_BY(guard) = 0;  ///< 1 if `text` is valid
    int in_use QX_GUARDED_BY(guard) = 0; ///< 1 if the library was started with `text`
};

constinit install_path path;

// Reads /etc/passwd line by line into a buffer of the caller. stdio would allocate a heap block.
class passwd_reader {
public:
    explicit passwd_reader(char (&text)[kPathSize])
        : text_(text) {}

    /// Returns the next line with its line feed, truncated to fit, or an empty span at EOF.
    std::span<char> next() {
        char* feed = std::find(begin_, end_, '\n');
        while (feed == end_) {
            if (!refill()) {
                return {std::exchange(begin_, end_), end_};
            }
            feed = std::find(begin_, end_, '\n');
        }
        return {std::exchange(begin_, feed + 1), feed + 1};
    }

private:
    bool refill() {
        end_ = std::copy(begin_, end_, text_);
        begin_ = text_;
        const auto room = static_cast<std::size_t>(text_ + kPathSize - 1 - end_);
        const ssize_t got = qx::io::uninterrupted([&] { return ::read(file_.get(), end_, room); });
        end_ += std::max<ssize_t>(got, 0);
        return got > 0;
    }

    qx::io::descriptor file_{qx::io::open_file(kPasswd, O_RDONLY)};
    char* text_;
    char* begin_ = text_;
    char* end_ = text_;
};

int path_exists(const char* name) {
    char resolved[PATH_MAX];
    return ::realpath(name, resolved) != nullptr ? 1 : 0;
}

bool read_link(char* text) {
    const ssize_t length = ::readlink(kLink, text, kPathSize - 1);
    if (length < static_cast<ssize_t>(kLinkEndingLength)) {
        return false;
    }
    char* const ending = text + length - kLinkEndingLength;
    if (std::memcmp(ending, kLinkEnding, kLinkEndingLength) != 0) {
        return false;
    }
    *ending = '\0';
    return path_exists(text) != 0;
}

bool use_fallback(char* text) {
    if (path_exists(QX_INSTALL_DIRECTORY) == 0) {
        return false;
    }
    std::memcpy(text, QX_INSTALL_DIRECTORY, sizeof QX_INSTALL_DIRECTORY);
    return true;
}

// Returns field `number` (2 or more) of a passwd line, or null if no colon ends the field. `rest`
// is the line after its first colon. Replaces each colon up to the end of the field with a zero
// byte.
char* passwd_field(char* rest, int number) {
    char* start = rest;
    for (int colon = 2; colon <= number; ++colon) {
        char* const end = std::strchr(rest, ':');
        if (end == nullptr) {
            return nullptr;
        }
        *end = '\0';
        start = rest;
        rest = end + 1;
    }
    return start;
}

// Finds field `number` of a user's line in /etc/passwd. Returns a pointer into `text`, the read
// buffer, or null if there is no such line or field.
const char* find_in_passwd(const char* user, int number, char (&text)[kPathSize]) {
    passwd_reader passwd(text);
    for (std::span line = passwd.next(); !line.empty(); line = passwd.next()) {
        if (line.front() == '#') {
            continue;
        }
        if (std::exchange(line.back(), '\0') != '\n') {
            return nullptr;
        }
        char* const colon = std::strchr(line.data(), ':');
        if (colon == nullptr) {
            return nullptr;
        }
        *colon = '\0';
        if (std::strcmp(line.data(), user) == 0) {
            return passwd_field(colon + 1, number);
        }
    }
    return nullptr;
}

bool find_default(char* text) {
    return read_link(text) || get_userhome(kUser, text) == 0 || use_fallback(text);
}

// Appends `text`, truncated so that the name has at most kLongestVersionFileName bytes. Returns the
// new length.
std::size_t append(char (&name)[kPathSize], std::size_t length, const char* text) {
    const std::size_t added = std::min(std::strlen(text), kLongestVersionFileName - length);
    std::memcpy(name + length, text, added);
    return length + added;
}

bool is_agents_user(uid_t uid) {
    constexpr int uid_field = 3;
    char line[kPathSize];
    const char* const field = find_in_passwd(kUser, uid_field, line);
    if (field == nullptr) {
        return false;
    }
    uid_t agent = 0;
    const char* const end = field + std::strlen(field);
    const auto [rest, failure] = std::from_chars(field, end, agent);
    return failure == std::errc() && rest == end && agent == uid;
}

bool owns_install_directory(uid_t uid) {
    char install_path[kPathSize];
    struct stat directory {};
    return qxpath_copy_install_path(install_path) == 0 && ::stat(install_path, &directory) == 0 &&
           directory.st_uid == uid;
}

} // namespace

void version_file_name(const char* install_path, char (&name)[kPathSize]) {
    const std::size_t directory = append(name, 0, install_path);
    name[append(name, directory, QX_VERSION_FILE)] = '\0';
}

int get_userhome(const char* user, char* home) {
    constexpr int home_field = 6;
    char line[kPathSize];
    const char* const field = find_in_passwd(user, home_field, line);
    if (field == nullptr) {
        return -1;
    }
    std::memcpy(home, field, std::strlen(field) + 1);
    return 0;
}

int qxpath_set_install_path(const char* wanted) {
    const mutex_guard lock(path.guard);
    path.in_use = wanted == nullptr ? 0 : 1;
    if (wanted == nullptr || std::strcmp(wanted, path.text) == 0) {
        path.known = 0;
        return 0;
    }
    const std::size_t length = ::strnlen(wanted, kPathSize - 1);
    std::memmove(path.text, wanted, length);
    path.text[length] = '\0';
    path.known = 1;
    return 0;
}

int qxpath_copy_install_path(char (&to)[kPathSize]) {
    const mutex_guard lock(path.guard);
    if (path.known == 0 && path.in_use == 0) {
        return find_default(to) ? 0 : -1;
    }
    std::memcpy(to, path.text, std::strlen(path.text) + 1);
    return 0;
}

void qxpath_renew_lock() {
    path.guard.renew();
}

} // namespace qxplix

const char* qxpath_default_install_path(void) {
    using namespace qxplix;
    const mutex_guard lock(path.guard);
    if (path.known == 0 && !find_default(path.text)) {
        path.text[0] = '\0';
        return nullptr;
    }
    path.known = 1;
    return path.text;
}

int qxpath_is_trusted_user(uid_t uid) {
    using namespace qxplix;
    if (uid == 0 || uid == ::geteuid()) {
        return 1;
    }
    return uid != kUnmappedUser && (owns_install_directory(uid) || is_agents_user(uid)) ? 1 : 0;
}
