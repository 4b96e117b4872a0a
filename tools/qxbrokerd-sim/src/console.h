// The orders on standard input, one per line.
#pragma once

#include "events.h"
#include "scenario.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace qx::sim {

/// A parsed line. A comment "send" or "restart" names the kind of order that uses the member.
struct Order {
    enum class Kind { nothing, send, drop, restart };

    std::string fault; ///< why the line is invalid; empty if it is valid
    Kind kind = Kind::nothing;
    EventType event = EventType::device_discovery; ///< send
    Content content;                               ///< send
    std::uint64_t times = 1;                       ///< send
    bool is_numbered = false;                      ///< send: replace "%n" with 1, 2, 3, ...
    Milliseconds down{100};                        ///< restart: the time until the broker is back
};

/// Parses `line`, which has no line feed.
Order parse_order(std::string_view line);

} // namespace qx::sim
