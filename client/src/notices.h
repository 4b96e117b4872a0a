// Delivery of warnings and of connection changes to the application's callbacks.
#pragma once

#include <cstdint>

namespace qxplix {

/// Passes a warning to the application's callback, if one is installed. `text` is one line without
/// a line feed. The callback may be slow, so avoid holding a lock during the call. Safe to call
/// from any thread.
void warn(const char* text);

/// Passes a change of the connection to the application's callback, if one is installed; see
/// qx_plix_connection_cb for the arguments. Do not hold a lock during the call. Event thread only.
void tell_connection(bool connected, std::int64_t missed_ms);

/// Reinitialises the lock in a forked child: the thread that held it may exist only in the parent.
void notices_renew_lock();

} // namespace qxplix
