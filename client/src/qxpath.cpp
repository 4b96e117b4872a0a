#include "qxpath.h"
#include "install_path.h"

#include "handles.h"
#include "mutex.h"

#include <climits>
#include <cstdio>
#include <cstring>

namespace qxplix {
namespace {

constexpr char kLink[] = "/etc/norvane-plix";
constexpr char kUser[] = "norvane-plix";
constexpr char kPasswd[] = "/etc/passwd";
constexpr char kFallback[] = "/opt/norvane";
constexpr char kVersionFile[] = "/var/run/qxbrokerd.version";
constexpr std::size_t kLongestVersionFileName = 4094;
constexpr char kLinkEnding[] = "/etc";
constexpr std::size_t kLinkEndingLength = sizeof kLinkEnding - 1;

struct install_path {
    mutex guard;
    char text[kPathSize] QX_GUARDED_BY(guard) = {};
    int known QX_GUARDED_BY(guard) = 0; ///< 1 when `text` is the answer
};

constinit install_path path;

struct file_release {
    void operator()(std::FILE* file) const { std::fclose(file); }
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
    if (path_exists(kFallback) == 0) {
        return false;
    }
    std::memcpy(text, kFallback, sizeof kFallback);
    return true;
}

// The text between the fifth and the sixth colon of a passwd line, given what follows the first.
char* home_field(char* rest) {
    char* start = rest;
    for (int colon = 2; colon <= 6; ++colon) {
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

// Appends what fits of `text`. The new length.
std::size_t append(char (&name)[kPathSize], std::size_t length, const char* text) {
    const std::size_t added = ::strnlen(text, kLongestVersionFileName - length);
    std::memcpy(name + length, text, added);
    return length + added;
}

} // namespace

void version_file_name(const char* install_path, char (&name)[kPathSize]) {
    const std::size_t directory = append(name, 0, install_path);
    name[append(name, directory, kVersionFile)] = '\0';
}

int get_userhome(const char* user, char* home) {
    const std::unique_ptr<std::FILE, file_release> passwd(std::fopen(kPasswd, "re"));
    if (!passwd) {
        return -1;
    }
    char line[kPathSize];
    while (std::fgets(line, sizeof line, passwd.get()) != nullptr) {
        if (line[0] == '#') {
            continue;
        }
        char* const colon = std::strchr(line, ':');
        if (std::strchr(line, '\n') == nullptr || colon == nullptr) {
            return -1;
        }
        *colon = '\0';
        if (std::strcmp(line, user) != 0) {
            continue;
        }
        const char* const field = home_field(colon + 1);
        if (field == nullptr) {
            return -1;
        }
        std::memcpy(home, field, std::strlen(field) + 1);
        return 0;
    }
    return -1;
}

int qxpath_set_install_path(const char* wanted) {
    const mutex_guard lock(path.guard);
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

} // namespace qxplix

const char* qxpath_default_install_path(void) {
    using namespace qxplix;
    const mutex_guard lock(path.guard);
    if (path.known == 0 && !read_link(path.text) && get_userhome(kUser, path.text) != 0 &&
        !use_fallback(path.text)) {
        path.text[0] = '\0';
        return nullptr;
    }
    path.known = 1;
    return path.text;
}
