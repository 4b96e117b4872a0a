// The lines that the broker takes on its standard input.
#pragma once

#include "events.h"
#include "scenario.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace qx::sim {

struct Order {
    enum class Kind { nothing, send, drop, restart };

    std::string fault; ///< why the line cannot be followed; empty when it can
    Kind kind = Kind::nothing;
    EventType event = EventType::device_discovery; ///< send
    Content content;                               ///< send
    std::uint64_t times = 1;                       ///< send
    bool is_numbered = false;                      ///< send: "%n" is replaced
    Milliseconds down{100};                        ///< restart
};

/// What `line`, without its line feed, asks for.
Order parse_order(std::string_view line);

} // namespace qx::sim
