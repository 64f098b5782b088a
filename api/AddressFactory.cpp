#include "api/AddressFactory.h"

#include <cwchar>
#include <new>
#include <string>

#include "api/QVNetAddress.h"
#include "api/QVUSBAddress.h"
#include "api/USBDeviceManager.h"
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

// The configuration function of a device reached through the bulk library,
// whose address keeps the port name's suffix.
constexpr wchar_t kBulkLibraryFunction[] = L"ZQFXBULKHESK";

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
    wchar_t queue[kNameChars] = {};
    if (ConnectionTypeOf(stripped.c_str(), RESOLVE_TYPE_PORT, &type)) {
        if (type == kTypeUSB) {
            QV_LOG_INFO(0, L"Port is USB");
            if (m_pResolver->GetQueueName(queue, kNameChars) == 0) {
                address = CreateUSBAddress(queue, portName, CreateUSBDeviceManager());
            }
        } else if (type == kTypeDot4) {
            QV_LOG_INFO(0, L"Port is Dot4");
            m_pResolver->GetQueueName(queue, kNameChars);
            address = CreateDot4Address(queue, stripped.c_str(), CreateUSBDeviceManager());
        } else if (type == kTypeIP) {
            QV_LOG_INFO(0, L"Port is IP");
            address = CreateResolvedIPAddress();
        } else {
            QV_LOG_ERROR(L"Port is unsupported type");
        }
    }
    // The last chance, whatever failed: a USB device that has no print
    // queue is found by its port. The prefix is compared with case.
    if (address == nullptr && portName != nullptr && std::wcsncmp(portName, L"USB", 3) == 0) {
        QV_LOG_INFO(0, L"Port is USB");
        address = CreateUSBAddress(nullptr, portName, CreateUSBDeviceManager());
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
    wchar_t port[kNameChars] = {};
    unsigned long reserved = 0;
    if (type == kTypeUSB) {
        QV_LOG_INFO(0, L"Port is USB");
        if (m_pResolver->GetDirectConnectPort(port, kNameChars, &reserved) == 0) {
            return CreateUSBAddress(queueName, port, CreateUSBDeviceManager());
        }
    } else if (type == kTypeDot4) {
        QV_LOG_INFO(0, L"Port is Dot4");
        m_pResolver->GetDirectConnectPort(port, kNameChars, &reserved);
        return CreateDot4Address(queueName, port, CreateUSBDeviceManager());
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

Address* AddressFactory::CreateUSBAddress(const wchar_t* queueName, const wchar_t* portName,
                                          IUSBDeviceManager* manager)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::AddressFactory::CreateUSBAddress");
    const std::wstring stripped = StripPortName(portName);
    if (manager == nullptr) {
        return nullptr;
    }
    QVDeviceManager::IDevice* device = manager->OpenUSBDeviceByQueue(queueName);
    if (device == nullptr) {
        device = manager->OpenUSBDeviceByPort(stripped.c_str());
    }
    if (device == nullptr) {
        delete manager;
        return nullptr;
    }
    // A device reached through the bulk library keeps the whole port name.
    std::wstring text = stripped;
    QVDeviceManager::IDeviceFunction* config = nullptr;
    if (device->GetFunction(QVDeviceManager::FUNCTION_TYPE_CONFIG, &config) == 0 && config != nullptr
        && _wcsicmp(config->GetFriendlyName().c_str(), kBulkLibraryFunction) == 0) {
        text = portName;
    }
    try {
        QVUSBAddress* address = new QVUSBAddress(text.c_str(), manager, device);
        address->AddRef();
        return address;
    } catch (const std::bad_alloc&) {
        manager->CloseDevice(device);
        delete manager;
        return nullptr;
    }
}

Address* AddressFactory::CreateDot4Address(const wchar_t* queueName, const wchar_t* portName,
                                           IUSBDeviceManager* manager)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::AddressFactory::CreateDot4Address");
    if (manager == nullptr) {
        return nullptr;
    }
    QVDeviceManager::IDevice* device = manager->OpenDot4Device(queueName);
    if (device == nullptr) {
        delete manager;
        return nullptr;
    }
    try {
        QVUSBAddress* address = new QVUSBAddress(portName, manager, device);
        address->AddRef();
        return address;
    } catch (const std::bad_alloc&) {
        manager->CloseDevice(device);
        delete manager;
        return nullptr;
    }
}

IUSBDeviceManager* AddressFactory::CreateUSBDeviceManager()
{
    try {
        return new USBDeviceManager();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace Orvane
