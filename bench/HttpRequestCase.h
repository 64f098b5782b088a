#pragma once

#include "BenchCase.h"
#include "HeldSession.h"
#include "orvane64.h"

namespace bench {

// Our figure of an HTTP case: HTTPRequest::GetResponse for the 1 KiB page
// at 127.0.0.1:`port`. Each exchange on a connection of its own, as a
// request made by Address::CreateHTTPRequest does it; or, with
// `keptSession`, on a request whose client has a session held open
// (OpenSession before the first exchange, CloseSession after the last).
class HttpRequestCase : public BenchCase {
public:
    HttpRequestCase(const std::string& id, int port, bool keptSession);
    ~HttpRequestCase() override;

    bool Begin() override;
    unsigned long long Step() override;
    void End() override;

private:
    // The request on the held session's client.
    bool BeginKeptSession();

    int m_port;
    bool m_keptSession;
    Orvane::HTTPRequest* m_request = nullptr;
    HeldSession m_session;
};

}  // namespace bench
