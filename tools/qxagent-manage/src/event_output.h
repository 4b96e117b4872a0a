// Events on their way to standard output.
#pragma once

#include "printers.h"

#include <cstddef>

namespace qx::manage {

/// Collects documents while events are handed over and writes them in large pieces. All members:
/// main thread only.
class EventOutput {
public:
    enum class Result { printed, stopped, failed };

    EventOutput();

    /// About how many bytes of events fit before the next print().
    [[nodiscard]] std::size_t room() const;
    /// Whether it is time for print() although more events wait.
    [[nodiscard]] bool is_full() const;

    /// Adds an event, or nothing for null. Throws std::bad_alloc.
    void add(string_view event_name, json_t* data);

    /// Writes the collected lines; waits for a slow reader without a time limit. Returns `stopped`
    /// once a stop signal has arrived and either everything is written or a second has passed.
    /// Returns `failed`, with errno, when a write fails; a regular file then ends with a whole
    /// line.
    Result print();

private:
    [[nodiscard]] std::size_t piece_limit(std::size_t left) const;
    void drop_lines();

    OutputText lines_;
    bool takes_all_ = true;     ///< no pipe or socket, so a write splits no line
    std::size_t pipe_size_ = 0; ///< 0 unless standard output is a pipe
};

} // namespace qx::manage
