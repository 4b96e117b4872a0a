// Event names of the broker.
#pragma once

#include <cstddef>

namespace qxplix {

inline constexpr std::size_t kBrokerNameSize = 64;

/// Converts the name of an event type to the broker's name: "QX_PLIX_VA_STATUS_CHANGED" becomes
/// "va_status_changed". Returns 0, or -1 if `name` is null or too long, lacks the prefix
/// "QX_PLIX_", or has nothing after the prefix.
int to_broker_event_name(const char* name, char (&broker_name)[kBrokerNameSize]);

} // namespace qxplix
