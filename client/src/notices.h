// The application's callbacks for warnings and for changes of the connection.
#pragma once

#include <cstdint>

namespace qxplix {

/// Hands a warning to the application's callback; does nothing when none is installed. The callback
/// may be slow, so avoid holding a lock during the call. Any thread.
void warn(const char* text);

/// Tells the application that subscriptions have lost the broker, or that all of them are back
/// after `missed_ms` milliseconds. Do not hold a lock during the call. Event thread only.
void tell_connection(bool connected, std::int64_t missed_ms);

/// Call it in a forked child: makes the lock free, whose owner may not exist in the child.
void notices_renew_lock();

} // namespace qxplix
