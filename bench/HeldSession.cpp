#include "HeldSession.h"

#include <string>

#include "http/CHTTPClient.h"
#include "iostack/CIONetwork.h"

namespace bench {

bool HeldSession::Open(int port)
{
    QVIOStack::IDeviceConnection* connection = QVIOStack::CreateIONetwork(false);
    const std::wstring service = L"127.0.0.1:" + std::to_wstring(port);
    if (connection == nullptr || connection->Initialize(service.c_str()) != 0) {
        delete connection;
        return false;
    }
    m_client = new QVIOStack::CHTTPClient(connection);
    m_client->AddRef();
    return m_client->OpenSession(nullptr, 0) == 0;
}

void HeldSession::Close()
{
    if (m_client != nullptr) {
        m_client->CloseSession();
        m_client->Dispose();
        m_client = nullptr;
    }
}

}  // namespace bench
