// The broker's commands: each is a row of one table.
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

/// What a command comes to.
struct Reply {
    json_int_t status = 0;
    Json data;                 ///< null: the answer has no "data"
    std::vector<Event> events; ///< sent after the answer
    /// A scan has begun that ends after this time.
    std::optional<std::chrono::milliseconds> scan_time;

    static Reply with(Json data) {
        Reply reply;
        reply.data = std::move(data);
        return reply;
    }

    /// A refusal whose data is {"code", "description"}.
    static Reply failure(json_int_t code, std::string_view description);

    void add_event(EventType type, const json_t* content) {
        events.push_back({type, dump(content)});
    }

    /// The answer as it goes into a frame.
    [[nodiscard]] std::string text() const;
};

/// The codes of a refusal.
namespace code {
inline constexpr json_int_t invalid_params = 1;
inline constexpr json_int_t invalid_schema = 2;
} // namespace code

bool is_command(std::string_view name);

/// Carries out the command `name` with `data` (null when the request has none).
Reply execute(State& state, std::string_view name, json_t* data);

/// Ends the running scan, if there is one, and returns the event that tells so.
std::optional<Event> finish_scan(State& state);

} // namespace qx::sim
