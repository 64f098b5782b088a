#include "HttpRequestCase.h"

#include "api/QVHTTPRequest.h"

namespace bench {

namespace {

constexpr unsigned long kPageSize = 1024;

}  // namespace

HttpRequestCase::HttpRequestCase(const std::string& id, int port, bool keptSession)
    : BenchCase(id, Unit::PerSecond), m_port(port), m_keptSession(keptSession)
{
}

HttpRequestCase::~HttpRequestCase()
{
    End();
}

bool HttpRequestCase::Begin()
{
    if (m_keptSession) {
        return BeginKeptSession();
    }
    Orvane::Address* address = Orvane::CreateAddressFromIPAddress(L"127.0.0.1");
    if (address == nullptr) {
        return false;
    }
    address->CreateHTTPRequest(&m_request, m_port);
    address->Dispose();
    if (m_request == nullptr) {
        return false;
    }
    m_request->SetURI(L"/page");
    return true;
}

// The request made by hand, so that its client is the one whose session
// is held open.
bool HttpRequestCase::BeginKeptSession()
{
    if (!m_session.Open(m_port)) {
        return false;
    }
    m_request = new Orvane::QVHTTPRequest(m_session.Client());
    m_request->AddRef();
    m_request->SetURI(L"/page");
    return true;
}

unsigned long long HttpRequestCase::Step()
{
    Orvane::HTTPResponse* response = nullptr;
    if (m_request->GetResponse(&response) != 0 || response->GetStatusCode() != 200
        || response->GetContentAvailable() != kPageSize || response->GetContent() == nullptr) {
        return 0;
    }
    return 1;
}

void HttpRequestCase::End()
{
    // The request keeps the client until it goes too.
    m_session.Close();
    if (m_request != nullptr) {
        m_request->Dispose();
        m_request = nullptr;
    }
}

}  // namespace bench
