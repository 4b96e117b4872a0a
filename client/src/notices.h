// The application's callbacks for warnings and for changes of the connection.
#pragma once

#include <cstdint>

namespace qxplix {

/// Passes a warning to the application's callback, if one is installed. The callback may be slow,
/// so avoid holding a lock during the call. Safe to call from any thread.
void warn(const char* text);

/// Tells the application that subscriptions have lost the broker, or that all of them are connected
/// again after `missed_ms` milliseconds. Do not hold a lock during the call. Event thread only.
void tell_connection(bool connected, std::int64_t missed_ms);

/// Reinitialises the lock in a forked child, where the lock's owner may not exist.
void notices_renew_lock();

} // namespace qxplix
