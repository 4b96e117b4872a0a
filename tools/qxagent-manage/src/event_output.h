// What a listening tool has to print, and the reader of standard output, who takes it or does not.
#pragma once

#include "printers.h"

#include <chrono>
#include <cstddef>
#include <list>
#include <optional>

namespace qx::manage {

/// Documents are collected while events are handed over, when nobody may wait, and printed then if
/// standard output is a pipe that its reader has emptied, else after that. Main thread only.
class EventOutput {
public:
    enum class Result { printed, stopped, failed };

    /// From now on a reader that stands still is waited for until this descriptor is readable, and
    /// then for a second more. The caller keeps the descriptor.
    void stop_at(int fd) { stop_fd_ = fd; }

    /// Adds a document; for the arguments see append_json. Throws std::bad_alloc.
    void add(const json_t* document, std::size_t expected_size);

    /// Prints all that was added. A line is printed at once if a pipe can take it so. When stopped,
    /// what the reader did not take is forgotten.
    Result print();

private:
    void make_room();
    bool reader_takes_more();
    void print_piece(std::size_t most);

    std::list<OutputText> texts_;
    std::size_t printed_ = 0; ///< of the first text
    bool is_behind_ = false;  ///< there has been more than one text since there was none
    bool failed_ = false;
    int stop_fd_ = -1;
    std::optional<std::chrono::steady_clock::time_point> last_moment_;
};

} // namespace qx::manage
