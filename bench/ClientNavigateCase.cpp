#include "ClientNavigateCase.h"

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

unsigned long long ClientNavigateCase::Step()
{
    QVIOStack::IHTTPClient* client = m_session.Client();
    if (client->Navigate(&m_params, nullptr) != 0 || client->GetStatusCode() != 200
        || client->GetContentLength() != kPageSize || client->GetContent() == nullptr) {
        return 0;
    }
    return 1;
}

}  // namespace bench
