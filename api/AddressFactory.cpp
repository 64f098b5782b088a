#include "api/AddressFactory.h"

#include <new>
#include <string>

#include "api/QVNetAddress.h"
#include "logging/LogTrace.h"
#include "resolver/Resolver.h"

QV_LOG_SOURCE_FILE()

namespace Orvane {

namespace {

// The resolver's text buffers, in wide characters.
constexpr size_t kNameChars = 260;

// The connection types the factory acts on.
constexpr unsigned long kTypeUSB = 2;
constexpr unsigned long kTypeDot4 = 16;
constexpr unsigned long kTypeIP = 32;

// A port name up to its first ":", as the resolver and the device manager
// know it.
std::wstring StripPortName(const wchar_t* portName)
{
    std::wstring text = portName != nullptr ? portName : L"";
    const size_t colon = text.find(L':');
    if (colon != std::wstring::npos) {
        text.erase(colon);
    }
    return text;
}

// Runs one operation of a factory with a resolver of its own; null when
// either cannot be made.
template <typename Operation>
Address* WithFactory(Operation operation)
{
    try {
        std::shared_ptr<Resolver> resolver = Resolver::Create();
        struct OneCall : AddressFactory {
            using AddressFactory::AddressFactory;
        } factory(std::move(resolver));
        return operation(factory);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace

AddressFactory::AddressFactory(std::shared_ptr<IResolver> resolver) : m_pResolver(std::move(resolver)) {}

Address* AddressFactory::CreateFromIPAddress(const wchar_t* address)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::AddressFactory::CreateFromIPAddress");
    // The resolver is made as for the other names, though not asked.
    return WithFactory([&](AddressFactory& factory) { return factory.CreateIPAddress(address); });
}

Address* AddressFactory::CreateFromPortName(const wchar_t* portName)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::AddressFactory::CreateFromPortName");
    return WithFactory([&](AddressFactory& factory) { return factory.CreatePortAddress(portName); });
}

Address* AddressFactory::CreateFromQueueName(const wchar_t* queueName)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::AddressFactory::CreateFromQueueName");
    return WithFactory([&](AddressFactory& factory) { return factory.CreateQueueAddress(queueName); });
}

bool AddressFactory::ConnectionTypeOf(const wchar_t* name, unsigned long resolveType, unsigned long* type)
{
    return m_pResolver->Resolve(name, resolveType) == 0 && m_pResolver->GetConnectionType(type) == 0;
}

Address* AddressFactory::CreateResolvedIPAddress()
{
    wchar_t text[kNameChars] = {};
    unsigned long port = 0;
    // The port number the resolver found is dropped: a stream is made on
    // the port its caller names.
    if (m_pResolver->GetTCPIPAddress(text, kNameChars, &port) != 0) {
        return nullptr;
    }
    return CreateIPAddress(text);
}

Address* AddressFactory::CreatePortAddress(const wchar_t* portName)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::AddressFactory::CreatePortAddress");
    QV_LOG_INFO(0, L"Create address for port %s", portName != nullptr ? portName : L"(null)");
    const std::wstring stripped = StripPortName(portName);
    Address* address = nullptr;
    unsigned long type = 0;
    if (ConnectionTypeOf(stripped.c_str(), RESOLVE_TYPE_PORT, &type)) {
        if (type == kTypeUSB) {
            QV_LOG_INFO(0, L"Port is USB");
        } else if (type == kTypeDot4) {
            QV_LOG_INFO(0, L"Port is Dot4");
        } else if (type == kTypeIP) {
            QV_LOG_INFO(0, L"Port is IP");
            address = CreateResolvedIPAddress();
        } else {
            QV_LOG_ERROR(L"Port is unsupported type");
        }
    }
    return address;
}

Address* AddressFactory::CreateQueueAddress(const wchar_t* queueName)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::AddressFactory::CreateQueueAddress");
    unsigned long type = 0;
    if (!ConnectionTypeOf(queueName, RESOLVE_TYPE_PRINTER, &type)) {
        return nullptr;
    }
    if (type == kTypeUSB) {
        QV_LOG_INFO(0, L"Port is USB");
    } else if (type == kTypeDot4) {
        QV_LOG_INFO(0, L"Port is Dot4");
    } else if (type == kTypeIP) {
        QV_LOG_INFO(0, L"Port is IP");
        return CreateResolvedIPAddress();
    } else {
        QV_LOG_ERROR(L"Port is unsupported type");
    }
    return nullptr;
}

Address* AddressFactory::CreateIPAddress(const wchar_t* address)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::AddressFactory::CreateIPAddress");
    try {
        QVNetAddress* result = new QVNetAddress(address);
        result->AddRef();
        return result;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace Orvane
