// The state of the simulated agent: one JSON document. A scenario can override any part of it.
#pragma once

#include "json.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace qx::sim {

class State {
public:
    /// Starts with a router in everyday use: three devices, services on, no scan running.
    State();

    /// Applies `changes`, an object with the structure of the state, or null for none. Returns ""
    /// on success, or "PLACE: reason".
    std::string override_with(json_t* changes);

    /// Returns the member `key` of the state, borrowed, or null.
    [[nodiscard]] json_t* part(const char* key) const;
    /// Returns the member `key` of the member `part`, borrowed, or null.
    [[nodiscard]] json_t* field(const char* part, const char* key) const;
    void set_field(const char* part, const char* key, Json value);

    /// Returns the device with this id, borrowed, or null.
    [[nodiscard]] json_t* device_with_id(std::string_view id) const;
    /// Returns the device with this MAC address, borrowed, or null.
    [[nodiscard]] json_t* device_with_mac(const char* mac) const;
    /// Adds a new device and returns it, borrowed. Returns null if there are 1000 devices already.
    json_t* add_device(const char* mac);

private:
    Json root_;
    std::uint64_t next_device_ = 1;
};

} // namespace qx::sim
