#pragma once

#include <string>

#include "TcpListener.h"

namespace bench {

// The web server of the HTTP cases, for every client alike: HTTP/1.1 with
// keep-alive, one page of 1024 bytes with a Content-Length for any request,
// and the connection closed after the answer ("Connection: close" in it)
// when the request asks so.
class PageServer {
public:
    static constexpr size_t kPageSize = 1024;

    PageServer();
    bool Open(int low, int high) { return m_listener.Open(low, high); }
    int Port() const { return m_listener.Port(); }
    // Serves until the process ends.
    void Run();

private:
    // Answers the complete requests at the front of `pending`; false when
    // the connection is to be closed.
    bool Answer(int connection, std::string& pending);

    TcpListener m_listener;
    std::string m_keepResponse;
    std::string m_closeResponse;
};

}  // namespace bench
