#pragma once

#include <windows.h>
#include <wininet.h>

#include "BenchCase.h"

namespace bench {

// The WinINet baseline of an HTTP case, in the same process: one session
// handle for the run; a connection handle per exchange and a
// "Connection: close" request, or, with `keptSession`, one connection
// handle for the run and WinINet's keep-alive. The body is read whole.
class WinInetCase : public BenchCase {
public:
    WinInetCase(const std::string& id, int port, bool keptSession);
    ~WinInetCase() override;

    bool Begin() override;
    unsigned long long Step() override;
    void End() override;

private:
    // One exchange on `connection`; the page's length, or 0.
    unsigned long long Exchange(HINTERNET connection);

    int m_port;
    bool m_keptSession;
    HINTERNET m_session = nullptr;
    HINTERNET m_connection = nullptr;
};

}  // namespace bench
