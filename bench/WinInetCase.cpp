#include "WinInetCase.h"

namespace bench {

namespace {

constexpr DWORD kPageSize = 1024;
// Straight from the server every time, never from or into the cache.
constexpr DWORD kRequestFlags = INTERNET_FLAG_RELOAD | INTERNET_FLAG_NO_CACHE_WRITE
    | INTERNET_FLAG_PRAGMA_NOCACHE;

}  // namespace

WinInetCase::WinInetCase(const std::string& id, int port, bool keptSession)
    : BenchCase(id, Unit::PerSecond), m_port(port), m_keptSession(keptSession)
{
}

WinInetCase::~WinInetCase()
{
    End();
}

bool WinInetCase::Begin()
{
    m_session = InternetOpenW(L"orvane-bench", INTERNET_OPEN_TYPE_DIRECT, nullptr, nullptr, 0);
    if (m_session == nullptr) {
        return false;
    }
    if (m_keptSession) {
        m_connection = InternetConnectW(m_session, L"127.0.0.1", static_cast<INTERNET_PORT>(m_port),
                                        nullptr, nullptr, INTERNET_SERVICE_HTTP, 0, 0);
        return m_connection != nullptr;
    }
    return true;
}

unsigned long long WinInetCase::Step()
{
    if (m_keptSession) {
        return Exchange(m_connection) == kPageSize ? 1 : 0;
    }
    HINTERNET connection = InternetConnectW(m_session, L"127.0.0.1", static_cast<INTERNET_PORT>(m_port),
                                            nullptr, nullptr, INTERNET_SERVICE_HTTP, 0, 0);
    if (connection == nullptr) {
        return 0;
    }
    const unsigned long long got = Exchange(connection);
    InternetCloseHandle(connection);
    return got == kPageSize ? 1 : 0;
}

unsigned long long WinInetCase::Exchange(HINTERNET connection)
{
    HINTERNET request = HttpOpenRequestW(connection, L"GET", L"/page", nullptr, nullptr, nullptr,
                                         kRequestFlags | (m_keptSession ? INTERNET_FLAG_KEEP_CONNECTION : 0), 0);
    if (request == nullptr) {
        return 0;
    }
    unsigned long long got = 0;
    const wchar_t* headers = m_keptSession ? nullptr : L"Connection: close\r\n";
    DWORD status = 0;
    DWORD size = sizeof(status);
    if (HttpSendRequestW(request, headers, headers ? static_cast<DWORD>(-1) : 0, nullptr, 0)
        && HttpQueryInfoW(request, HTTP_QUERY_STATUS_CODE | HTTP_QUERY_FLAG_NUMBER, &status, &size, nullptr)
        && status == 200) {
        char body[4096];
        DWORD read = 0;
        while (InternetReadFile(request, body, sizeof(body), &read) && read != 0) {
            got += read;
        }
    }
    InternetCloseHandle(request);
    return got;
}

void WinInetCase::End()
{
    if (m_connection != nullptr) {
        InternetCloseHandle(m_connection);
        m_connection = nullptr;
    }
    if (m_session != nullptr) {
        InternetCloseHandle(m_session);
        m_session = nullptr;
    }
}

}  // namespace bench
