// The broker's names of events.
#pragma once

#include <cstddef>

namespace qxplix {

inline constexpr std::size_t kBrokerNameSize = 64;

/// Converts the application's name of an event to the broker's: "QX_PLIX_VA_STATUS_CHANGED" becomes
/// "va_status_changed". Returns 0, or -1 if `name` is null, too long or has another form.
int to_broker_event_name(const char* name, char (&broker_name)[kBrokerNameSize]);

} // namespace qxplix
