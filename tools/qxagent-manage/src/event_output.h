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

    /// How many bytes of events fit before the next print(), about.
    [[nodiscard]] std::size_t room() const;
    /// Whether it is time for print() although more events wait.
    [[nodiscard]] bool is_full() const;

    /// Adds a document; for the arguments see append_json. Throws std::bad_alloc.
    void add(const json_t* document, std::size_t expected_size);

    /// Writes what was added, and waits for a slow reader as long as it takes. Returns `stopped` as
    /// soon as a stop signal has come and either everything is written or a second has passed, and
    /// `failed`, with errno, when a write fails: a regular file then ends with a whole line.
    Result print();

private:
    [[nodiscard]] std::size_t piece_limit(std::size_t left) const;
    void drop_lines();

    OutputText lines_;
    bool takes_all_ = true;     ///< standard output is no pipe or socket, so it cuts no line
    std::size_t pipe_size_ = 0; ///< 0 when it is no pipe
};

} // namespace qx::manage
