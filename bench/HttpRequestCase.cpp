#include "HttpRequestCase.h"

#include <string>

#include "api/QVHTTPRequest.h"
#include "http/CHTTPClient.h"
#include "iostack/CIONetwork.h"

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

// The objects Address::CreateHTTPRequest makes, made here so that the
// client is at hand for OpenSession.
bool HttpRequestCase::BeginKeptSession()
{
    QVIOStack::IDeviceConnection* connection = QVIOStack::CreateIONetwork(false);
    const std::wstring service = L"127.0.0.1:" + std::to_wstring(m_port);
    if (connection == nullptr || connection->Initialize(service.c_str()) != 0) {
        delete connection;
        return false;
    }
    m_client = new QVIOStack::CHTTPClient(connection);
    m_client->AddRef();
    m_request = new Orvane::QVHTTPRequest(m_client);
    m_request->AddRef();
    m_request->SetURI(L"/page");
    return m_client->OpenSession(nullptr, 0) == 0;
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
    if (m_client != nullptr) {
        m_client->CloseSession();
    }
    if (m_request != nullptr) {
        m_request->Dispose();
        m_request = nullptr;
    }
    if (m_client != nullptr) {
        m_client->Dispose();
        m_client = nullptr;
    }
}

}  // namespace bench
