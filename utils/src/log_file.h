// A file of lines to which several processes append. Functions throw std::bad_alloc if memory runs
// out.
#pragma once

#include "base/descriptor.h"
#include "qx/string_view.h"

#include <string>
#include <sys/stat.h>

namespace qx {

// fstat(2) fails if the size or the inode number of a file does not fit.
static_assert(sizeof(off_t) == 8 && sizeof(ino_t) == 8);

/// A log file with rotation. If the next line would make the file larger than a fixed size, the
/// file is first renamed: ".1" is appended to its name, and a previous file of that name is
/// replaced. Threads must not use an object at the same time.
class log_file {
public:
    /// Opens `file`, or creates it with mode 0640. Rotates a file that has several hard links,
    /// because it may be another user's file. Returns false, with errno, on failure.
    bool open(const std::string& file);
    [[nodiscard]] bool is_open() const { return static_cast<bool>(fd_); }
    /// Closes the file; does nothing if none is open.
    void close() { fd_.reset(); }

    /// Appends `line`, which ends with a line feed, to the open file with one write. Does not wait
    /// for other processes. Drops the line if it cannot be written. First removes half a line or
    /// zeros at the end of the file; if another process has locked the file, appends a line feed
    /// after them instead.
    void append(string_view line);

private:
    // Returns the name of the rotated file.
    [[nodiscard]] std::string older() const;
    // Opens the file again by its name. Returns false, and keeps the open file, on failure.
    bool reopen();
    // Returns whether the name refers to no file, or to another file than `opened`.
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
