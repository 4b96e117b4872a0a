// Event names, the application's and the broker's.
#pragma once

#include <cstddef>

namespace qxplix {

inline constexpr std::size_t kBrokerNameSize = 64;

/// The broker's name of the event that applications call `name`: "QX_PLIX_VA_STATUS_CHANGED" is
/// "va_status_changed". -1 for a null, too long or otherwise impossible name.
int to_broker_event_name(const char* name, char (&broker_name)[kBrokerNameSize]);

} // namespace qxplix
