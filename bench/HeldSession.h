#pragma once

#include "http/IHTTPClient.h"

namespace bench {

// An HTTP client on a connection of its own to 127.0.0.1:`port`, made as
// Address::CreateHTTPRequest makes it, with its session held open from
// Open until Close.
class HeldSession {
public:
    HeldSession() = default;
    ~HeldSession() { Close(); }
    HeldSession(const HeldSession&) = delete;
    HeldSession& operator=(const HeldSession&) = delete;

    // False when the connection or the session could not be made; Close
    // releases what was.
    bool Open(int port);
    // Closes the session and releases the client.
    void Close();
    QVIOStack::IHTTPClient* Client() const { return m_client; }

private:
    QVIOStack::IHTTPClient* m_client = nullptr;
};

}  // namespace bench
