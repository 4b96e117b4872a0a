// What the library tells the application through callbacks, apart from events.
#pragma once

#include <cstdint>

namespace qxplix {

/// Hands a warning to the application's callback; does nothing when there is none. The callback may
/// be slow, so avoid holding a lock. Any thread.
void warn(const char* text);

/// Tells the application that subscriptions have lost the broker or that all are back, with the
/// time in between. Call it without a lock. Event thread only.
void tell_connection(bool connected, std::int64_t missed_ms);

/// In a forked child: forgets who had the lock.
void notices_renew_lock();

} // namespace qxplix
