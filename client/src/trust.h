// The check of the broker's user. The broker's socket has no file, so any user can listen on it
// first.
#pragma once

namespace qxplix {

/// Returns whether the peer of the connected socket `conn` runs as an accepted user. Warns of a
/// refused user once, until the peer is a different user. Safe to call from any thread.
bool is_trusted_broker(int conn);

/// Reinitialises the lock in a forked child, where the lock's owner may not exist.
void trust_renew_lock();

} // namespace qxplix
