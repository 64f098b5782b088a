#pragma once

#include <map>
#include <string>

#include "EpollServer.h"

namespace bench {

// The web server of the HTTP cases, for every client alike: HTTP/1.1 with
// keep-alive, one page of 1024 bytes with a Content-Length for any request,
// and the connection closed after the answer ("Connection: close" in it)
// when the request asks so.
class PageServer : public EpollServer {
public:
    static constexpr size_t kPageSize = 1024;

    PageServer();

protected:
    void Received(int connection, const char* data, size_t size) override;
    // Answers the complete requests at the front of what has come; false
    // when the connection is to be closed.
    bool Drained(int connection) override;
    void Closed(int connection) override { m_pending.erase(connection); }

private:
    std::string m_keepResponse;
    std::string m_closeResponse;
    // What has come on each open connection and is not answered yet.
    std::map<int, std::string> m_pending;
};

}  // namespace bench
