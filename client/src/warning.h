// Warnings about conditions that no return value can report.
#pragma once

namespace qxplix {

/// Hands a warning to the application's callback; does nothing when there is none. The callback may
/// be slow, so avoid holding a lock. Any thread.
void warn(const char* text);

/// In a forked child: forgets who had the lock.
void warning_renew_lock();

} // namespace qxplix
