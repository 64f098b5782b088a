#pragma once

#include <winsock2.h>

#include "TransferCase.h"

namespace bench {

// The raw baseline of a stream case: an overlapped socket and one event
// for the whole run, each WSASend or WSARecv waited on only when it goes
// pending. (Overlapped WriteFile on a socket that goes pending never
// completes under Wine, so the socket calls stand in for it.)
class RawSocketCase : public TransferCase {
public:
    using TransferCase::TransferCase;
    ~RawSocketCase() override;

    bool Begin() override;
    unsigned long long Step() override;
    void End() override;

private:
    SOCKET m_socket = INVALID_SOCKET;
    WSAEVENT m_event = WSA_INVALID_EVENT;
};

}  // namespace bench
