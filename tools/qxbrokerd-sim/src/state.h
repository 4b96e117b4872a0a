// What the simulated agent knows and is set to: one JSON document, so that a scenario can override
// any of it and reports are cut out of it.
#pragma once

#include "json.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace qx::sim {

class State {
public:
    /// A router in everyday use: three devices, services on, no scan running.
    State();

    /// Lays `changes`, an object shaped like the state, over it. Returns an empty text, or "PLACE:
    /// reason".
    std::string override_with(json_t* changes);

    /// The member `key` of the state, borrowed.
    [[nodiscard]] json_t* part(const char* key) const;
    /// The member `key` of the member `part`, borrowed.
    [[nodiscard]] json_t* field(const char* part, const char* key) const;
    void set_field(const char* part, const char* key, Json value);

    /// The device with this id or MAC address, borrowed, or null.
    [[nodiscard]] json_t* device_with_id(std::string_view id) const;
    [[nodiscard]] json_t* device_with_mac(const char* mac) const;
    /// Adds a device that was never seen before; borrowed. Null when there are 1000 already.
    json_t* add_device(const char* mac);

private:
    Json root_;
    std::uint64_t next_device_ = 1;
};

} // namespace qx::sim
