// A file of lines that several processes append to.
#pragma once

#include "base/descriptor.h"
#include "qx/string_view.h"

#include <string>
#include <sys/stat.h>

namespace qx {

// fstat(2) fails if the size or the inode number of a file does not fit.
static_assert(sizeof(off_t) == 8 && sizeof(ino_t) == 8);

/// A log file with rotation: at a fixed size the file is renamed to its name with ".1" appended,
/// which replaces the previous one. One thread may use an object at a time.
class log_file {
public:
    /// Opens or creates `file`. Rotates a file with several hard links. Returns false, with errno,
    /// on failure.
    bool open(const std::string& file);
    [[nodiscard]] bool is_open() const { return static_cast<bool>(fd_); }
    void close() { fd_.reset(); }

    /// Appends one line without waiting for other processes. Drops a line that cannot be written
    /// completely. If the file ends with an incomplete line or with zeros, removes these first, or
    /// terminates the line while another process holds the lock.
    void append(string_view line);

private:
    [[nodiscard]] std::string older() const;
    bool reopen();
    [[nodiscard]] bool is_replaced(const struct stat& opened) const;
    bool make_ready(std::size_t length);
    [[nodiscard]] char last_byte(off_t size) const;
    void cut_off_half_line();
    [[nodiscard]] bool ends_in_half_line() const;
    void write(string_view text);

    std::string path_;
    io::descriptor fd_;
    // The state of the file before the current append.
    bool locked_ = false;
    bool has_half_line_ = false;
    off_t size_ = 0;
};

} // namespace qx
