#pragma once

#include <winsock2.h>

#include <string>

namespace peers {

// A loopback port held bound but not listening, so that connections to it
// are refused for as long as this object lives: no other test process can
// start listening there meanwhile. The port is the highest free one from
// `highest` down to `lowest`.
class ClosedPort {
public:
    ClosedPort(unsigned short highest, unsigned short lowest);
    ~ClosedPort();
    ClosedPort(const ClosedPort&) = delete;
    ClosedPort& operator=(const ClosedPort&) = delete;

    // 0 when no port of the range was free.
    unsigned short Port() const { return m_port; }
    std::wstring Target() const { return L"127.0.0.1:" + std::to_wstring(m_port); }
    std::string Text() const { return "127.0.0.1:" + std::to_string(m_port); }

private:
    SOCKET m_socket;
    unsigned short m_port = 0;
};

}  // namespace peers
