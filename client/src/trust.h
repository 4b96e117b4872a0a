// Who may be the broker: anyone can listen on a socket without a file, first come, first served.
#pragma once

namespace qxplix {

/// Whether the process that listens at the other end of `conn` belongs to a user who may be the
/// broker. Warns when another user is met, once for as long as it is the same one. Any thread.
bool is_trusted_broker(int conn);

} // namespace qxplix
