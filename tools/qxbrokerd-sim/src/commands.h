// The table of the broker's commands.
#pragma once

#include "events.h"
#include "json.h"
#include "state.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qx::sim {

/// The result of a command.
struct Reply {
    json_int_t status = 0;
    Json data;                 ///< null if the answer has no "data"
    std::vector<Event> events; ///< sent after the answer
    /// The duration of the scan that the command has started, if any.
    std::optional<std::chrono::milliseconds> scan_time;

    static Reply with(Json data) {
        Reply reply;
        reply.data = std::move(data);
        return reply;
    }

    /// Returns a reply with status 1 and the data {"code", "description"}.
    static Reply failure(json_int_t code, std::string_view description);

    void add_event(EventType type, const json_t* content) {
        events.push_back({type, dump(content)});
    }

    /// Returns the answer as JSON text.
    [[nodiscard]] std::string text() const;
};

/// The codes of a refusal.
namespace code {
inline constexpr json_int_t invalid_params = 1;
inline constexpr json_int_t invalid_schema = 2;
} // namespace code

bool is_command(std::string_view name);

/// Executes the command `name`. `data` is borrowed, and null if the request has none. Returns a
/// refusal if the command is unknown or the data is invalid.
Reply execute(State& state, std::string_view name, json_t* data);

/// Ends the running scan. Returns the event that reports the end, or nullopt if no scan runs.
std::optional<Event> finish_scan(State& state);

} // namespace qx::sim
