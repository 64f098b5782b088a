#pragma once

#include <winsock2.h>

#include "TransferCase.h"

namespace bench {

// The raw baseline of a stream case: an overlapped socket and one event
// for the whole run, each WSASend or WSARecv waited on only when it goes
// pending. (Overlapped WriteFile on a socket that goes pending never
// completes under Wine, so the socket calls stand in for it.) A non-zero
// `receiveBuffer` sets the socket's receive buffer to that size before it
// connects, as the network connection does with its own.
class RawSocketCase : public TransferCase {
public:
    RawSocketCase(const std::string& id, Direction direction, int port, unsigned long chunk,
                  int receiveBuffer = 0)
        : TransferCase(id, direction, port, chunk), m_receiveBuffer(receiveBuffer)
    {
    }
    ~RawSocketCase() override;

    bool Begin() override;
    unsigned long long Step() override;
    void End() override;

private:
    int m_receiveBuffer;
    SOCKET m_socket = INVALID_SOCKET;
    WSAEVENT m_event = WSA_INVALID_EVENT;
};

}  // namespace bench
