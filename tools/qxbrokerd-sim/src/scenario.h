// A scenario makes the simulator behave unlike a healthy broker. docs/simulator.md describes the
// scenario file.
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

/// The bytes of an event, or of an answer that replaces the normal one.
struct Content {
    enum class Kind {
        text, ///< sent in a frame
        raw,  ///< sent without a frame
    };
    Kind kind = Kind::text;
    std::string bytes;
};

/// How to answer one request or send one event.
struct Rule {
    std::optional<Content> content; ///< absent: the request is executed and answered normally
    Delivery delivery;
};

/// How the broker treats a new connection.
enum class Accept { serve, silent, close };

/// A sequence of steps. Each step applies a given number of times, then the next one takes over.
template <typename Step>
class Script {
public:
    /// Adds a step that applies `times` times, or forever if `times` is 0.
    void add(Step step, std::uint64_t times) {
        steps_.push_back({std::move(step), times, times == 0});
    }

    /// Returns the step that applies now, or null if all steps are used up. Counts as one use.
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

/// An event that the broker sends at scheduled times.
struct TimedEvent {
    EventType type = EventType::device_discovery;
    Rule rule; ///< its content is always present
    /// True: `after` starts at each subscription, and only that subscriber gets the event. False:
    /// `after` starts with the broker, and all subscribers get the event.
    bool on_subscribe = false;
    Milliseconds after{0};   ///< delay of the first event
    Milliseconds every{0};   ///< time between events
    std::uint64_t times = 1; ///< 0: forever
};

struct Scenario {
    std::string version = QX_PROTOCOL_VERSION;
    bool lock = true;
    Json state; ///< changes to the state, or null
    Script<Accept> connections;
    std::map<std::string, Script<Rule>, std::less<>>
        commands; ///< "*" applies when a command has no rules left
    std::array<Script<Rule>, kEventNames.size()> subscriptions;
    std::vector<TimedEvent> events;
};

/// Reads a scenario file. If the file is invalid, throws a Failure with the file, the place and the
/// reason.
Scenario load_scenario(const std::string& file);

/// Decodes pairs of hexadecimal digits. Ignores spaces between pairs. Returns nullopt if `hex` is
/// malformed.
std::optional<std::string> bytes_of_hex(std::string_view hex);

/// Returns `text` with every "%n" replaced by `number`.
std::string numbered(std::string_view text, std::uint64_t number);

} // namespace qx::sim
