// Checks who the broker is: its socket has no file, so any user can listen on it first.
#pragma once

namespace qxplix {

/// Whether the process that listens at the other end of `conn` runs as an accepted user. Warns of a
/// refused user once, until the peer is a different user. Any thread.
bool is_trusted_broker(int conn);

/// In a forked child: forgets who had the lock.
void trust_renew_lock();

} // namespace qxplix
