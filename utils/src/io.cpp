#include "qx/io.h"

#include "base/retry.h"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace qx::io {

bool write_all(int fd, string_view text) {
    while (!text.empty()) {
        const ssize_t written =
            uninterrupted([&] { return ::write(fd, text.data(), text.size()); });
        if (written < 0) {
            return false;
        }
        text = text.substr(static_cast<std::size_t>(written));
    }
    return true;
}

void set_mode(int fd, unsigned int mode, unsigned int wanted) {
    constexpr unsigned int all_bits = 07777;
    if ((mode & all_bits) != wanted) {
        static_cast<void>(::fchmod(fd, wanted));
    }
}

bool make_directory(const char* path) {
    constexpr mode_t writers = 022;
    const mode_t before = ::umask(writers);
    const bool is_made = ::mkdir(path, 0755) == 0 || errno == EEXIST;
    ::umask(before);
    return is_made;
}

} // namespace qx::io
