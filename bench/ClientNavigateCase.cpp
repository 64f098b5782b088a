#include "ClientNavigateCase.h"

#include <string>

#include "http/CHTTPClient.h"
#include "iostack/CIONetwork.h"

namespace bench {

namespace {

constexpr unsigned long kPageSize = 1024;
constexpr unsigned long kNoDrain = 1;

}  // namespace

ClientNavigateCase::ClientNavigateCase(const std::string& id, int port)
    : BenchCase(id, Unit::PerSecond), m_port(port)
{
    m_params.SetURI(L"/page");
    m_params.SetFlags(kNoDrain);
}

ClientNavigateCase::~ClientNavigateCase()
{
    End();
}

bool ClientNavigateCase::Begin()
{
    QVIOStack::IDeviceConnection* connection = QVIOStack::CreateIONetwork(false);
    const std::wstring service = L"127.0.0.1:" + std::to_wstring(m_port);
    if (connection == nullptr || connection->Initialize(service.c_str()) != 0) {
        delete connection;
        return false;
    }
    m_client = new QVIOStack::CHTTPClient(connection);
    m_client->AddRef();
    return m_client->OpenSession(nullptr, 0) == 0;
}

unsigned long long ClientNavigateCase::Step()
{
    if (m_client->Navigate(&m_params, nullptr) != 0 || m_client->GetStatusCode() != 200
        || m_client->GetContentLength() != kPageSize || m_client->GetContent() == nullptr) {
        return 0;
    }
    return 1;
}

void ClientNavigateCase::End()
{
    if (m_client != nullptr) {
        m_client->CloseSession();
        m_client->Dispose();
        m_client = nullptr;
    }
}

}  // namespace bench
