// The orders that the broker reads from its standard input.
#pragma once

#include "events.h"
#include "scenario.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace qx::sim {

struct Order {
    enum class Kind { nothing, send, drop, restart };

    std::string fault; ///< why the line is not an order; empty if it is one
    Kind kind = Kind::nothing;
    EventType event = EventType::device_discovery; ///< send
    Content content;                               ///< send
    std::uint64_t times = 1;                       ///< send
    bool is_numbered = false;                      ///< send: replace "%n" by the number
    Milliseconds down{100};                        ///< restart
};

/// Parses `line`, which has no line feed. If the line is not an order, sets `fault`.
Order parse_order(std::string_view line);

} // namespace qx::sim
