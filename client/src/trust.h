// The check of the user that the broker runs as. The broker's socket has no file and no owner, so
// any user can listen on the socket's name before the broker does.
#pragma once

namespace qxplix {

/// Returns whether the peer of the connected socket `conn` runs as an accepted user. Warns of a
/// refused user unless the previous check refused the same user. Safe to call from any thread.
bool is_trusted_broker(int conn);

/// Reinitialises the lock in a forked child: the thread that held it may exist only in the parent.
void trust_renew_lock();

} // namespace qxplix
