// A connection to the web server: answers its requests in order, keeping
// the connection while the client allows.
#pragma once

#include "devsim/Connection.h"
#include "devsim/WebSite.h"

namespace devsim {

class HttpSession : public Connection {
public:
    HttpSession(SOCKET socket, std::string peer, EventLog& log, WebSite& site);

    void OnReadable(ULONGLONG now) override;
    void OnTick(ULONGLONG) override {}

private:
    void Answer();

    WebSite& m_site;
    std::string m_input;
};

}  // namespace devsim
