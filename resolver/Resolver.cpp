// The resolver's core: the call, its worker thread and bounded wait, the
// state flags, the printer look-up every search starts with, and the
// getters.
#include "resolver/Resolver.h"

#include <new>

#include "logging/LogTrace.h"
#include "resolver/ResolverLock.h"
#include "winapi/IKernelApi.h"

QV_LOG_SOURCE_FILE()

namespace Orvane {

namespace {

using QVLogging::kCategoryReturn;

// Longer names are refused by Resolve.
constexpr size_t kMaxNameChars = 260;
constexpr DWORD kDefaultTimeout = 30000;
constexpr DWORD kMinTimeout = 10000;
constexpr DWORD kMaxTimeout = 90000;
// The state bits after which the getters answer.
constexpr unsigned long kAnsweringStates = RESOLVE_STATE_RUNNING | RESOLVE_STATE_DONE | RESOLVE_STATE_SUCCEEDED;

const wchar_t* ResolveTypeName(unsigned long type)
{
    switch (type) {
    case RESOLVE_TYPE_SHARE:
        return L"RESOLVE_TYPE_SHARE";
    case RESOLVE_TYPE_PRINTER:
        return L"RESOLVE_TYPE_PRINTER";
    case RESOLVE_TYPE_PORT:
        return L"RESOLVE_TYPE_PORT";
    case RESOLVE_TYPE_SERVER:
        return L"RESOLVE_TYPE_SERVER";
    default:
        return nullptr;
    }
}

// The field of a queue's record that a resolve type names.
const std::optional<std::wstring>* RecordField(const PrinterRecord& record, unsigned long type)
{
    switch (type) {
    case RESOLVE_TYPE_SHARE:
        return &record.shareName;
    case RESOLVE_TYPE_PRINTER:
        return &record.printerName;
    case RESOLVE_TYPE_PORT:
        return &record.portName;
    case RESOLVE_TYPE_SERVER:
        return &record.serverName;
    default:
        return nullptr;
    }
}

// Whole strings equal but for the case of A to Z.
bool EqualIgnoringAsciiCase(const std::wstring& a, const wchar_t* b)
{
    const auto lower = [](wchar_t c) { return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + 32) : c; };
    size_t i = 0;
    for (; i < a.size() && b[i] != L'\0'; ++i) {
        if (lower(a[i]) != lower(b[i])) {
            return false;
        }
    }
    return i == a.size() && b[i] == L'\0';
}

// What the worker thread owns: its Resolver.
struct WorkerShare {
    std::shared_ptr<Resolver> resolver;
};

}  // namespace

std::shared_ptr<Resolver> Resolver::Create()
{
    return Adopt(new Resolver);
}

Resolver::Resolver()
{
    InitMembers();
}

Resolver::~Resolver() = default;

void Resolver::InitMembers()
{
    m_hrResolve = E_FAIL;
    m_eResolveState = 0;
    m_eResolveType = 0;
    m_cxType = 0;
    for (wchar_t* text : {m_pSearchName, m_pRemotePath, m_pServerName, m_pPrinterName, m_pPortName,
                          m_pPortID, m_pShareName, m_wcHostName, m_wcHWAddress, m_wcIPAddress,
                          m_pSNMPCommunity, m_pQueueName, m_pDeviceID, m_wcIPv6HostName}) {
        text[0] = L'\0';
    }
    for (wchar_t* row : m_wcIPv6AddressList) {
        row[0] = L'\0';
    }
    m_dwPortNumber = 0;
    m_dwResolveTimeout = kDefaultTimeout;
    m_nIPv6AddressCount = 0;
}

HRESULT Resolver::Resolve(const wchar_t* name, unsigned long type)
{
    QV_LOG_FUNCTION_PARAMS(g_pOrvaneResolverLog, L"Orvane::Resolver::Resolve", L"name %s, type %d",
                           name ? name : L"(null)", type);
    if (name == nullptr || GetStringLength(name, kMaxNameChars) == 0 || type == 0) {
        logScope.m_errorCode = static_cast<unsigned long>(E_INVALIDARG);
        QV_LOG_LINE(kCategoryReturn, L"Return: %s", GetErrorMessage(static_cast<DWORD>(E_INVALIDARG)));
        return E_INVALIDARG;
    }
    HRESULT status = E_FAIL;
    try {
        m_pLock = ResolverLock::Acquire();
    } catch (const std::bad_alloc&) {
        QV_LOG_ERROR(L"Bad Allocation Exception");
        logScope.m_errorCode = static_cast<unsigned long>(status);
        return status;
    }
    if (StrWcsCpy(m_pSearchName, kResolverTextChars, name) == S_OK) {
        m_eResolveType = type;
        RunResolveThread();
        if (m_eResolveState & RESOLVE_STATE_SUCCEEDED) {
            SetQueueName();
            status = S_OK;
        }
    }
    m_eResolveState |= RESOLVE_STATE_DONE;
    ResolverLock::Release();
    logScope.m_errorCode = static_cast<unsigned long>(status);
    QV_LOG_LINE(kCategoryReturn, L"Return: %s", GetErrorMessage(static_cast<DWORD>(status)));
    return status;
}

HRESULT Resolver::RunResolveThread()
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::RunResolveThread");
    HRESULT result = 1;
    const DWORD timeout = GetResolveThreadTimeout();
    auto* share = new (std::nothrow) WorkerShare{m_pSelf.lock()};
    const HANDLE thread = share && share->resolver
        ? reinterpret_cast<HANDLE>(g_pKernelApi->_beginthreadex(nullptr, 0, &Resolver::ResolveThread, share, 0, nullptr))
        : nullptr;
    if (thread == nullptr) {
        delete share;
        QV_LOG_ERROR(L"Error %d : Unable to create 'CreateInstanceThread'", ::GetLastError());
    } else {
        switch (g_pKernelApi->WaitForSingleObject(thread, timeout)) {
        case WAIT_TIMEOUT: {
            QV_LOG_ERROR(L"WAIT_TIMEOUT received while waiting on thread");
            {
                const ResolverLock::Hold hold(*m_pLock);
                if (m_eResolveState & RESOLVE_STATE_RUNNING) {
                    m_eResolveState = RESOLVE_STATE_TIMED_OUT;
                }
            }
            // The worker goes on alone; it owns what it uses.
            g_pKernelApi->CloseHandle(thread);
            logScope.m_errorCode = static_cast<unsigned long>(result);
            return result;
        }
        case WAIT_OBJECT_0:
            QV_LOG_INFO(0, L"WAIT_OBJECT_0 received while waiting on thread");
            result = m_hrResolve;
            g_pKernelApi->CloseHandle(thread);
            break;
        default:
            QV_LOG_ERROR(L"WAIT_FAILED received while waiting on thread");
            g_pKernelApi->CloseHandle(thread);
            break;
        }
    }
    {
        const ResolverLock::Hold hold(*m_pLock);
        if (m_eResolveState & RESOLVE_STATE_RUNNING) {
            QV_LOG_INFO(0, L"m_eResolveState set to %d", RESOLVE_STATE_DONE);
            m_eResolveState |= RESOLVE_STATE_DONE;
        }
    }
    QV_LOG_LINE(kCategoryReturn, L"Return: %s", GetErrorMessage(static_cast<DWORD>(result)));
    logScope.m_errorCode = static_cast<unsigned long>(result);
    return result;
}

DWORD Resolver::GetResolveThreadTimeout()
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::GetResolveThreadTimeout");
    if (m_dwResolveTimeout < kMinTimeout || m_dwResolveTimeout > kMaxTimeout) {
        QV_LOG_INFO(0, L"Requested timeout is not within limits: %d - %d ms", kMinTimeout, kMaxTimeout);
        QV_LOG_INFO(0, L"Resetting to closest valid time.");
        m_dwResolveTimeout = m_dwResolveTimeout < kMinTimeout ? kMinTimeout : kMaxTimeout;
    }
    QV_LOG_INFO(0, L"Timeout is %d", m_dwResolveTimeout);
    return m_dwResolveTimeout;
}

unsigned __stdcall Resolver::ResolveThread(void* share)
{
    // Owned here: the caller may have let its Resolver go by the time the
    // search ends.
    const std::unique_ptr<WorkerShare> owned(static_cast<WorkerShare*>(share));
    Resolver& resolver = *owned->resolver;
    resolver.m_hrResolve = resolver.ResolveStart();
    return static_cast<unsigned>(resolver.m_hrResolve);
}

HRESULT Resolver::ResolveStart()
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::ResolveStart");
    m_eResolveState = RESOLVE_STATE_RUNNING;
    QV_LOG_INFO(0, L"Name = %s", m_pSearchName);
    wchar_t* field = nullptr;
    switch (m_eResolveType) {
    case RESOLVE_TYPE_SHARE:
        field = m_pShareName;
        break;
    case RESOLVE_TYPE_PRINTER:
        field = m_pPrinterName;
        break;
    case RESOLVE_TYPE_PORT:
        field = m_pPortName;
        break;
    case RESOLVE_TYPE_SERVER:
        field = m_pServerName;
        break;
    }
    bool matched = false;
    if (field != nullptr) {
        QV_LOG_INFO(0, L"%s", ResolveTypeName(m_eResolveType));
        matched = StrWcsCpy(field, kResolverTextChars, m_pSearchName) == S_OK
            && MatchPrinterInfo(m_pSearchName, m_eResolveType);
    }
    if (!matched) {
        m_eResolveState |= RESOLVE_STATE_FAILED;
        QV_LOG_ERROR(L"Failed to match printer information %s", m_pSearchName);
        logScope.m_errorCode = static_cast<unsigned long>(E_FAIL);
        return E_FAIL;
    }
    if (!NetworkPrinter() && !LocalPrinter()) {
        m_eResolveState |= RESOLVE_STATE_FAILED;
        logScope.m_errorCode = static_cast<unsigned long>(E_FAIL);
        return E_FAIL;
    }
    m_eResolveState |= RESOLVE_STATE_SUCCEEDED;
    return S_OK;
}

bool Resolver::MatchPrinterInfo(const wchar_t* name, unsigned long type)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::MatchPrinterInfo");
    if (name == nullptr || type == 0) {
        return false;
    }
    std::vector<PrinterRecord> records;
    DWORD count = 0;
    if (!GetPrinters(&records, &count)) {
        return false;
    }
    bool found = false;
    for (const PrinterRecord& record : records) {
        const std::optional<std::wstring>* field = RecordField(record, type);
        if (field == nullptr || !field->has_value() || !EqualIgnoringAsciiCase(**field, name)) {
            continue;
        }
        QV_LOG_INFO(0, L"Found a match - Type: %s", ResolveTypeName(type));
        const auto take = [](wchar_t* member, const std::optional<std::wstring>& value) {
            if (value) {
                StrWcsCpy(member, kResolverTextChars, value->c_str());
            }
        };
        take(m_pPrinterName, record.printerName);
        take(m_pPortName, record.portName);
        take(m_pShareName, record.shareName);
        take(m_pServerName, record.serverName);
        QV_LOG_INFO(0, L"Printer Name: %s", m_pPrinterName);
        QV_LOG_INFO(0, L"Port Name: %s", m_pPortName);
        QV_LOG_INFO(0, L"Share Name: %s", m_pShareName);
        QV_LOG_INFO(0, L"Server Name: %s", m_pServerName);
        found = true;
        break;
    }
    QV_LOG_LINE(kCategoryReturn, L"Return: %s", StepOutcome(found));
    return found;
}

void Resolver::SetQueueName()
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::SetQueueName");
    const unsigned long state = m_eResolveState;
    if (!(state & RESOLVE_STATE_DONE) || !(state & RESOLVE_STATE_SUCCEEDED)) {
        return;
    }
    // The caller that gave a port learns the queue, the one that gave a
    // queue learns the port.
    if (m_cxType & kDirectConnectTypes) {
        if (m_eResolveType == RESOLVE_TYPE_PORT) {
            StrWcsCpy(m_pQueueName, kResolverTextChars, m_pPrinterName);
        } else if (m_eResolveType == RESOLVE_TYPE_PRINTER) {
            StrWcsCpy(m_pQueueName, kResolverTextChars, m_pPortName);
        }
    } else {
        StrWcsCpy(m_pQueueName, kResolverTextChars, m_wcHostName);
    }
}

bool Resolver::HasResolved() const
{
    return (m_eResolveState & kAnsweringStates) != 0;
}

HRESULT Resolver::GetConnectionType(unsigned long* type)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::GetConnectionType");
    if (type == nullptr) {
        return E_INVALIDARG;
    }
    if (!HasResolved()) {
        return E_PENDING;
    }
    *type = m_cxType;
    return S_OK;
}

HRESULT Resolver::GetTCPIPAddress(wchar_t* buffer, size_t chars, unsigned long* port)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::GetTCPIPAddress");
    if (buffer == nullptr || port == nullptr) {
        return E_INVALIDARG;
    }
    if (!HasResolved()) {
        return E_PENDING;
    }
    if (!(m_cxType & CX_TYPE_TCPIP)) {
        return ERROR_NOT_SUPPORTED;
    }
    // IPv4 before IPv6.
    const wchar_t* address = m_wcIPAddress[0] != L'\0' ? m_wcIPAddress
        : m_wcIPv6AddressList[0][0] != L'\0'           ? m_wcIPv6AddressList[0]
                                                       : nullptr;
    if (address == nullptr) {
        return E_FAIL;
    }
    const HRESULT copied = StrWcsNCpy(buffer, chars, address, kResolverTextChars);
    if (copied == S_OK) {
        *port = m_dwPortNumber;
    }
    return copied;
}

HRESULT Resolver::GetDirectConnectPort(wchar_t* buffer, size_t chars, unsigned long* reserved)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::GetDirectConnectPort");
    if (buffer == nullptr || reserved == nullptr) {
        return E_INVALIDARG;
    }
    if (!HasResolved()) {
        return E_PENDING;
    }
    if (!(m_cxType & kDirectConnectTypes)) {
        return ERROR_NOT_SUPPORTED;
    }
    return StrWcsNCpy(buffer, chars, m_pPortID, kResolverTextChars);
}

HRESULT Resolver::GetQueueName(wchar_t* buffer, size_t chars)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::GetQueueName");
    if (buffer == nullptr) {
        return E_INVALIDARG;
    }
    if (!HasResolved()) {
        return E_PENDING;
    }
    return StrWcsNCpy(buffer, chars, m_pQueueName, kResolverTextChars);
}

}  // namespace Orvane
