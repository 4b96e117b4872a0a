// A file of lines that several processes append to.
#pragma once

#include "qx/io.h"
#include "qx/string_view.h"

#include <string>

namespace qx {

/// Holds the last lines, up to a fixed size; the lines before are in one older file beside it, ".1"
/// appended.
class log_file {
public:
    /// Opens `file`, making it as needed. False, with errno, when that cannot be done.
    bool open(const std::string& file);
    [[nodiscard]] bool is_open() const { return static_cast<bool>(fd_); }
    void close() { fd_.reset(); }

    /// Appends one line; what cannot be written is dropped.
    void append(string_view line);

private:
    [[nodiscard]] std::string older() const;
    bool reopen();
    [[nodiscard]] bool is_replaced() const;
    bool lock_with_room_for(std::size_t length);

    std::string path_;
    io::descriptor fd_;
    bool locked_ = false;
};

} // namespace qx
