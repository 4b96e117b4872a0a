// What a listening tool has to print, and the reader of standard output, who takes it or does not.
#pragma once

#include "printers.h"

#include <chrono>
#include <optional>
#include <vector>

namespace qx::manage {

/// Documents are collected while events are handed over, when nobody may wait, and printed after
/// that. Main thread only.
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
    Result print(const OutputText& text);
    bool reader_takes_more();

    std::vector<OutputText> texts_;
    int stop_fd_ = -1;
    std::optional<std::chrono::steady_clock::time_point> last_moment_;
};

} // namespace qx::manage
