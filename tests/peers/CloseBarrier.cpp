#include "peers/CloseBarrier.h"

#include <winsock2.h>
#include <ws2tcpip.h>

namespace peers {

namespace {

// Closes its socket when it goes out of scope.
struct SocketHolder {
    SOCKET s = INVALID_SOCKET;
    ~SocketHolder()
    {
        if (s != INVALID_SOCKET) {
            closesocket(s);
        }
    }
};

}  // namespace

bool WaitForEarlierClosesToArrive(unsigned ms)
{
    SocketHolder listener{socket(AF_INET, SOCK_STREAM, IPPROTO_TCP)};
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int length = sizeof(address);
    if (bind(listener.s, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0
        || listen(listener.s, 1) != 0
        || getsockname(listener.s, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        return false;
    }
    SocketHolder probe{socket(AF_INET, SOCK_STREAM, IPPROTO_TCP)};
    if (connect(probe.s, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        return false;
    }
    SocketHolder accepted{accept(listener.s, nullptr, nullptr)};
    WSAEVENT closed = WSACreateEvent();
    bool arrived = false;
    if (accepted.s != INVALID_SOCKET && WSAEventSelect(probe.s, closed, FD_CLOSE) == 0) {
        shutdown(accepted.s, SD_BOTH);
        arrived = WaitForSingleObject(closed, ms) == WAIT_OBJECT_0;
    }
    WSACloseEvent(closed);
    return arrived;
}

}  // namespace peers
