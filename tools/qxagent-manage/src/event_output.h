// Buffered output of events.
#pragma once

#include "printers.h"

#include <cstddef>

namespace qx::manage {

/// Collects events as lines of JSON and writes them to standard output in large pieces. Main thread
/// only.
class EventOutput {
public:
    enum class Result { printed, stopped, failed };

    EventOutput();

    /// Returns roughly how many bytes of events can be added before print() is due.
    [[nodiscard]] std::size_t room() const;
    /// Returns true if print() is due before more events are added.
    [[nodiscard]] bool is_full() const;

    /// Adds an event with the name `event_name` and the data `data`, which the caller keeps. Does
    /// nothing if `data` is null. Throws std::bad_alloc.
    void add(string_view event_name, json_t* data);

    /// Writes the collected lines and returns `printed`. Waits for a slow reader without a time
    /// limit. After a termination signal, returns `stopped` when everything is written or a second
    /// has passed. If a write fails, returns `failed` with errno; a regular file then ends with a
    /// whole line.
    Result print();

private:
    [[nodiscard]] std::size_t piece_limit(std::size_t left) const;
    void drop_lines();

    OutputText lines_;
    /// Whether standard output is neither a pipe nor a socket. If so, write everything at once.
    bool takes_all_ = true;
    std::size_t pipe_size_ = 0; ///< 0 unless standard output is a pipe
};

} // namespace qx::manage
