#pragma once

#include "BenchCase.h"
#include "HeldSession.h"
#include "http/CHTTPNavigateParams.h"

namespace bench {

// A diagnostic beside the HTTP cases, not a figure of the public API: the
// HTTP client's Navigate for the 1 KiB page on a held session, with bit 0
// of the parameters' flags set, which leaves out the drain of an earlier
// answer (EmptyDeviceRespone, a read with a 100 ms time-out) that every
// HTTPRequest::GetResponse does first. It shows what an exchange costs
// apart from that drain.
class ClientNavigateCase : public BenchCase {
public:
    ClientNavigateCase(const std::string& id, int port);

    bool Begin() override { return m_session.Open(m_port); }
    unsigned long long Step() override;
    void End() override { m_session.Close(); }

private:
    int m_port;
    QVIOStack::CHTTPNavigateParams m_params;
    HeldSession m_session;
};

}  // namespace bench
