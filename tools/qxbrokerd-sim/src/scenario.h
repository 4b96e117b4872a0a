// A scenario: what the broker does differently from a healthy one, and when. docs/simulator.md
// describes the file.
#pragma once

#include "base/protocol.h"
#include "events.h"
#include "json.h"
#include "outbox.h"

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace qx::sim {

/// What takes the place of the normal answer, or makes up an event.
struct Content {
    enum class Kind {
        text, ///< goes into a frame
        raw,  ///< is sent as it stands
    };
    Kind kind = Kind::text;
    std::string bytes;
};

/// How one request is answered.
struct Rule {
    std::optional<Content> content; ///< absent: the request is carried out and answered normally
    Delivery delivery;
};

/// What happens to a connection that a client opens.
enum class Accept { serve, silent, close };

/// Steps that are taken in order, each a number of times.
template <typename Step>
class Script {
public:
    void add(Step step, std::uint64_t times) {
        steps_.push_back({std::move(step), times, times == 0});
    }

    /// The step that is due, or null when all have been used up.
    const Step* next() {
        while (at_ < steps_.size()) {
            Entry& entry = steps_[at_];
            if (entry.always || entry.left > 0) {
                entry.left -= entry.always ? 0 : 1;
                return &entry.step;
            }
            ++at_;
        }
        return nullptr;
    }

private:
    struct Entry {
        Step step;
        std::uint64_t left;
        bool always;
    };
    std::vector<Entry> steps_;
    std::size_t at_ = 0;
};

/// An event that comes by itself.
struct TimedEvent {
    EventType type = EventType::device_discovery;
    Rule rule; ///< its content is always present
    bool on_subscribe =
        false; ///< counted from, and sent to, each new subscriber; else from the start, to all
    Milliseconds after{0};
    Milliseconds every{0};
    std::uint64_t times = 1; ///< 0: for ever
};

struct Scenario {
    std::string version = QX_PROTOCOL_VERSION;
    bool lock = true;
    Json state; ///< changes to the state, or null
    Script<Accept> connections;
    std::map<std::string, Script<Rule>, std::less<>> commands; ///< "*" stands for every command
    std::array<Script<Rule>, kEventNames.size()> subscriptions;
    std::vector<TimedEvent> events;
};

/// Reads a scenario file; throws Failure, whose text names the file, the place and the reason.
Scenario load_scenario(const std::string& file);

/// The bytes that `hex` stands for; digits in pairs, blanks between pairs are left out.
std::optional<std::string> bytes_of_hex(std::string_view hex);

/// Replaces every "%n" by the number.
std::string numbered(std::string_view text, std::uint64_t number);

} // namespace qx::sim
