#pragma once

#include <winsock2.h>

#include <vector>

#include "BenchCase.h"
#include "Direction.h"

namespace bench {

// The raw baseline of a stream case: an overlapped socket and one event
// for the whole run, each WSASend or WSARecv waited on only when it goes
// pending. (Overlapped WriteFile on a socket that goes pending never
// completes under Wine, so the socket calls stand in for it.)
class RawSocketCase : public BenchCase {
public:
    RawSocketCase(const std::string& id, Direction direction, int port, unsigned long chunk);
    ~RawSocketCase() override;

    bool Begin() override;
    unsigned long long Step() override;
    void End() override;

private:
    Direction m_direction;
    int m_port;
    std::vector<char> m_buffer;
    SOCKET m_socket = INVALID_SOCKET;
    WSAEVENT m_event = WSA_INVALID_EVENT;
};

}  // namespace bench
