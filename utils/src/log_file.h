// A file of lines that several processes append to.
#pragma once

#include "base/descriptor.h"
#include "qx/string_view.h"

#include <string>
#include <sys/stat.h>

namespace qx {

/// Holds the last lines, up to a fixed size; the lines before are in one older file beside it, ".1"
/// appended.
class log_file {
public:
    /// Opens `file`, or creates it; a file with several hard links is rotated away. Returns false,
    /// with errno, on failure.
    bool open(const std::string& file);
    [[nodiscard]] bool is_open() const { return static_cast<bool>(fd_); }
    void close() { fd_.reset(); }

    /// Appends one line without ever waiting for another process. A line that cannot be written as
    /// a whole is dropped. If the file ends in half a line, that is terminated first.
    void append(string_view line);

private:
    [[nodiscard]] std::string older() const;
    bool reopen();
    [[nodiscard]] bool is_replaced(const struct stat& opened) const;
    bool make_ready(std::size_t length);
    [[nodiscard]] bool ends_in_half_line() const;
    void write(string_view text);

    std::string path_;
    io::descriptor fd_;
    // The state of the file before the line that is being appended.
    bool locked_ = false;
    bool has_half_line_ = false;
    off_t size_ = 0;
};

} // namespace qx
