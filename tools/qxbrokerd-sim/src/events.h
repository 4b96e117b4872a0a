// The events that clients subscribe to.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace qx::sim {

enum class EventType : unsigned {
    device_discovery,
    subscription_changed,
    cloud_registration_status,
    devices_list_updated,
    qxagent_started,
    va_status_changed,
    set_device_online_status_result,
};

inline constexpr std::array<std::string_view, 7> kEventNames = {
    "device_discovery",
    "subscription_changed",
    "cloud_registration_status",
    "devices_list_updated",
    "qxagent_started",
    "va_status_changed",
    "set_device_online_status_result",
};

/// Returns the event called `name`, or nullopt. Accepts the broker's name (va_status_changed) and
/// the library's (QX_PLIX_VA_STATUS_CHANGED).
std::optional<EventType> event_type(std::string_view name);

std::string_view event_name(EventType type);

/// An event to send to every subscriber; `text` is JSON.
struct Event {
    EventType type;
    std::string text;
};

} // namespace qx::sim
