// The trace: a line on standard output for each step of the simulator, such as a request or an
// answer.
#pragma once

#include <cstdint>
#include <string_view>

namespace qx::sim {

class Trace {
public:
    explicit Trace(bool is_on)
        : is_on_(is_on) {}

    [[nodiscard]] bool is_on() const { return is_on_; }

    /// Prints "#CLIENT WHAT TEXT" if the trace is on. Control characters of TEXT appear as \xNN.
    void client(std::uint64_t client, std::string_view what, std::string_view text = {}) const;

    /// Prints "event NAME to COUNT: TEXT" if the trace is on. COUNT is the number of receivers.
    void event(std::string_view name, std::size_t count, std::string_view text) const;

private:
    bool is_on_;
};

} // namespace qx::sim
