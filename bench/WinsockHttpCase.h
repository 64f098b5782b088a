#pragma once

#include <winsock2.h>

#include <string>

#include "BenchCase.h"

namespace bench {

// The hand-written baseline of an HTTP case: blocking Winsock, a GET sent
// in one send, the answer read until its header and Content-Length bytes
// are in. A new connection and "Connection: close" per exchange, or, with
// `keptSession`, one connection for the run.
class WinsockHttpCase : public BenchCase {
public:
    WinsockHttpCase(const std::string& id, int port, bool keptSession);
    ~WinsockHttpCase() override;

    bool Begin() override;
    unsigned long long Step() override;
    void End() override;

private:
    SOCKET Connect() const;
    // One exchange on `s`; the length of the body, or 0.
    unsigned long long Exchange(SOCKET s);

    int m_port;
    bool m_keptSession;
    std::string m_request;
    SOCKET m_socket = INVALID_SOCKET;
};

}  // namespace bench
