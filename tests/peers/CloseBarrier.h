#pragma once

namespace peers {

// Waits until a peer's close made before this call has reached the socket
// events of this process. Wine's server handles the socket events of all
// sockets in one loop, so once a close made after that one reaches a probe
// socket's FD_CLOSE event, the earlier close has been delivered as well.
// False if the probe's close did not arrive within `ms`.
bool WaitForEarlierClosesToArrive(unsigned ms = 10000);

}  // namespace peers
