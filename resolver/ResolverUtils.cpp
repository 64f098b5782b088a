#include "resolver/ResolverUtils.h"

#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>
#include <winspool.h>

#include <cwchar>
#include <new>
#include <regex>

#include "logging/LogTrace.h"
#include "resolver/ResolverPatterns.h"
#include "winapi/IKernelApi.h"
#include "winapi/IRegistryApi.h"
#include "winapi/ISpoolerApi.h"
#include "winapi/IWinSockApi.h"

QV_LOG_SOURCE_FILE()

namespace Orvane {

namespace {

using QVLogging::kCategoryError;
using QVLogging::kCategoryInfo;

constexpr HRESULT kInsufficientBuffer = static_cast<HRESULT>(0x8007007A);
// The largest count the bounded copies accept, as the platform's safe
// string functions do.
constexpr size_t kMaxChars = 0x7FFFFFFF;
constexpr size_t kErrorMessageChars = 100;
// The platform's PRINTER_OPTION_NO_CACHE (mingw-w64's enumeration starts it at 0).
constexpr DWORD kPrinterOptionNoCache = 1;
constexpr WORD kWinsockVersion = 0x202;
// Host names and addresses are handed to Winsock in the ANSI code page.
constexpr int kAnsiNameBytes = 512;

// Whole-string or search match of a pattern compiled for this call. A
// pattern the engine gives up on matches nothing.
bool Match(const wchar_t* text, const wchar_t* pattern, bool whole, std::wcmatch* groups)
{
    if (text == nullptr || pattern == nullptr || *text == L'\0' || *pattern == L'\0') {
        return false;
    }
    try {
        const std::wregex expression(pattern, std::regex::ECMAScript);
        std::wcmatch local;
        std::wcmatch& result = groups ? *groups : local;
        return whole ? std::regex_match(text, result, expression)
                     : std::regex_search(text, result, expression);
    } catch (const std::exception&) {
        return false;
    }
}

// Copies at most `count` characters of `src` (which may be unterminated
// after them) into `dest`, cut to fit and always terminated.
HRESULT CopyCut(wchar_t* dest, size_t destChars, const wchar_t* src, size_t count)
{
    size_t n = 0;
    while (n < count && src[n] != L'\0' && n + 1 < destChars) {
        dest[n] = src[n];
        ++n;
    }
    dest[n] = L'\0';
    return n < count && src[n] != L'\0' ? kInsufficientBuffer : S_OK;
}

// The name of a function that failed and the system's text of its result.
void LogCopyFailure(QVLogging::CLogFunction& logScope, const wchar_t* what, HRESULT result)
{
    logScope.LogFormat(kCategoryError, __LINE__, L"%s failed %s", what,
                       GetErrorMessage(static_cast<DWORD>(result)));
}

// Text in the ANSI code page for Winsock, at most kAnsiNameBytes.
void ToAnsi(const wchar_t* text, char (&out)[kAnsiNameBytes])
{
    out[0] = '\0';
    if (g_pKernelApi->WideCharToMultiByte(CP_ACP, 0, text, -1, out, kAnsiNameBytes, nullptr,
                                          nullptr)
        == 0) {
        out[0] = '\0';
    }
    out[kAnsiNameBytes - 1] = '\0';
}

// An address as text, or false with the Winsock error.
bool AddressToText(sockaddr* address, size_t length, wchar_t (&text)[INET6_ADDRSTRLEN])
{
    DWORD chars = INET6_ADDRSTRLEN;
    return g_pWinSockApi->WSAAddressToStringW(address, static_cast<DWORD>(length), nullptr, text,
                                              &chars)
        == 0;
}

}  // namespace

bool MatchWholeString(const wchar_t* text, const wchar_t* pattern)
{
    return Match(text, pattern, true, nullptr);
}

bool SearchString(const wchar_t* text, const wchar_t* pattern)
{
    return Match(text, pattern, false, nullptr);
}

bool CaptureSubString(const wchar_t* text, wchar_t* out, const wchar_t* pattern, size_t group)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"CaptureSubString");
    if (out == nullptr) {
        return false;
    }
    std::wcmatch groups;
    if (!Match(text, pattern, false, &groups) || group >= groups.size() || groups.length(group) == 0) {
        return false;
    }
    const std::wstring capture = groups.str(group);
    StrWcsNCpy(out, kCaptureChars, capture.c_str(), capture.size());
    QV_LOG_INFO(0, L"Result is: %s", out);
    return true;
}

size_t GetStringLength(const wchar_t* text, size_t max)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"GetStringLength");
    if (text == nullptr) {
        return 0;
    }
    for (size_t n = 0; n < max; ++n) {
        if (text[n] == L'\0') {
            return n;
        }
    }
    QV_LOG_ERROR(L"StringCchLength failed %s", GetErrorMessage(static_cast<DWORD>(E_INVALIDARG)));
    return 0;
}

HRESULT StrWcsCpy(wchar_t* dest, size_t destChars, const wchar_t* src)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"StrWcsCpy");
    if (dest == nullptr || src == nullptr) {
        QV_LOG_ERROR(L"Source or Destination String is NULL");
        return E_INVALIDARG;
    }
    const HRESULT result = destChars == 0 || destChars > kMaxChars
        ? E_INVALIDARG
        : CopyCut(dest, destChars, src, kMaxChars);
    if (result != S_OK) {
        LogCopyFailure(logScope, L"StringCchCopyW", result);
    }
    return result;
}

HRESULT StrWcsNCpy(wchar_t* dest, size_t destChars, const wchar_t* src, size_t maxChars)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"StrWcsNCpy");
    if (dest == nullptr || src == nullptr) {
        QV_LOG_ERROR(L"Source or Destination String is NULL");
        return E_INVALIDARG;
    }
    HRESULT result = E_INVALIDARG;
    if (destChars == 0 || destChars > kMaxChars) {
        result = E_INVALIDARG;
    } else if (maxChars >= kMaxChars) {
        dest[0] = L'\0';
    } else {
        result = CopyCut(dest, destChars, src, maxChars);
    }
    if (result != S_OK) {
        LogCopyFailure(logScope, L"StringCchCopyNW", result);
    }
    return result;
}

HRESULT StrWcsCat(wchar_t* dest, size_t destChars, const wchar_t* src)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"StrWcsCat");
    if (dest == nullptr || src == nullptr) {
        QV_LOG_ERROR(L"Source or Destination String is NULL");
        return E_INVALIDARG;
    }
    HRESULT result = E_INVALIDARG;
    if (destChars != 0 && destChars <= kMaxChars) {
        size_t length = 0;
        while (length < destChars && dest[length] != L'\0') {
            ++length;
        }
        // A destination without a terminator in its room can't be added to.
        if (length < destChars) {
            result = CopyCut(dest + length, destChars - length, src, kMaxChars);
        }
    }
    if (result != S_OK) {
        LogCopyFailure(logScope, L"StringCchCatW", result);
    }
    return result;
}

const wchar_t* GetErrorMessage(DWORD code)
{
    static wchar_t s_message[kErrorMessageChars];
    wchar_t* text = nullptr;
    const DWORD length = ::FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM
                                              | FORMAT_MESSAGE_IGNORE_INSERTS,
                                          nullptr, code, 0, reinterpret_cast<wchar_t*>(&text), 0,
                                          nullptr);
    if (length == 0 || text == nullptr) {
        CopyCut(s_message, kErrorMessageChars, L"Format message failed with 0x%x", kMaxChars);
        return s_message;
    }
    // The system's text ends with a line end.
    CopyCut(s_message, kErrorMessageChars, text, length >= 2 ? length - 2 : 0);
    g_pKernelApi->LocalFree(text);
    return s_message;
}

LSTATUS OpenKey(HKEY parent, const wchar_t* subkey, REGSAM, HKEY* out)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"OpenKey");
    const LSTATUS result = g_pRegistryApi->RegOpenKeyExW(parent, subkey, 0, KEY_READ, out);
    if (result != ERROR_SUCCESS) {
        logScope.m_errorCode = static_cast<unsigned long>(result);
        QV_LOG_ERROR(L"RegOpenKeyExW RETURNED: 0x%d, Msg: %s", result,
                     GetErrorMessage(static_cast<DWORD>(result)));
    }
    return result;
}

LSTATUS QueryValue(HKEY key, const wchar_t* name, DWORD* type, BYTE* data, DWORD* size)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"QueryValue");
    const LSTATUS result = g_pRegistryApi->RegQueryValueExW(key, name, nullptr, type, data, size);
    if (result != ERROR_SUCCESS) {
        logScope.m_errorCode = static_cast<unsigned long>(result);
        QV_LOG_ERROR(L"RegQueryValueExW RETURNED: 0x%d, Msg: %s", result,
                     GetErrorMessage(static_cast<DWORD>(result)));
    }
    return result;
}

bool GetDWORDFromRegistry(HKEY key, const wchar_t* name, DWORD* out)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"GetDWORDFromRegistry");
    static DWORD s_value;
    DWORD type = 0;
    DWORD size = sizeof s_value;
    if (QueryValue(key, name, &type, reinterpret_cast<BYTE*>(&s_value), &size) != ERROR_SUCCESS
        || type != REG_DWORD || size == 0) {
        return false;
    }
    *out = s_value;
    return true;
}

bool GetPortKey(const wchar_t* portName, HKEY* key, int* isEquitrac)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"GetPortKey");
    static const struct {
        const wchar_t* key;
        int isEquitrac;
    } kMonitors[] = {
        {L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\ZQ Standard TCP/IP Port\\Ports", 0},
        {L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\ZQ Standard TCP/IP Monitor\\Ports", 0},
        {L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Standard TCP/IP Port\\Ports", 0},
        {L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Equitrac Port\\Ports", 1},
        {L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\ZQ Standard IPX/SPX Port\\Ports", 0},
        {L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\ZQ Standard IPX/SPX Monitor\\Ports", 0},
    };
    // Only the monitor key of the last row opened is closed with a line;
    // one that held no such port is closed silently before the next try.
    HKEY monitorKey = nullptr;
    bool found = false;
    int number = 0;
    for (const auto& monitor : kMonitors) {
        ++number;
        *isEquitrac = monitor.isEquitrac;
        if (monitorKey != nullptr) {
            g_pRegistryApi->RegCloseKey(monitorKey);
            monitorKey = nullptr;
        }
        const LSTATUS opened = OpenKey(HKEY_LOCAL_MACHINE, monitor.key, KEY_READ, &monitorKey);
        QV_LOG_INFO(0, L"RegOpenKeyEx(monitorHive #%d) returned 0x%x", number, opened);
        if (opened != ERROR_SUCCESS) {
            monitorKey = nullptr;
            continue;
        }
        const LSTATUS port = OpenKey(monitorKey, portName, KEY_READ, key);
        QV_LOG_INFO(0, L"RegOpenKeyEx returned 0x%x", port);
        if (port == ERROR_SUCCESS) {
            found = true;
            break;
        }
    }
    if (monitorKey != nullptr) {
        QV_LOG_INFO(0, L"RegCloseKey(hStd_PortsKey) returned 0x%x", g_pRegistryApi->RegCloseKey(monitorKey));
    }
    return found;
}

bool GetLptRemotePath(const wchar_t* portName, wchar_t* path)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"GetLptRemotePath");
    if (!MatchWholeString(portName, LPT_PORT_PATTERN)) {
        return false;
    }
    wchar_t number[kCaptureChars] = {};
    CaptureSubString(portName, number, LPT_PORT_PATTERN, 1);
    wchar_t keyName[261] = L"Network\\LPT";
    StrWcsCat(keyName, 261, number);
    HKEY key = nullptr;
    if (OpenKey(HKEY_CURRENT_USER, keyName, KEY_READ, &key) != ERROR_SUCCESS) {
        return false;
    }
    wchar_t remotePath[261] = {};
    DWORD type = 0;
    DWORD size = 522;
    const bool read = QueryValue(key, L"RemotePath", &type, reinterpret_cast<BYTE*>(remotePath), &size)
        == ERROR_SUCCESS;
    remotePath[260] = L'\0';
    QV_LOG_INFO(0, L"is %s", remotePath);
    const bool found = read && remotePath[0] != L'\0';
    if (found) {
        StrWcsCpy(path, kResolverTextChars, remotePath);
    }
    g_pRegistryApi->RegCloseKey(key);
    return found;
}

bool IsWindowsVistaOrLater()
{
    OSVERSIONINFOW version = {};
    version.dwOSVersionInfoSize = sizeof version;
    return g_pKernelApi->GetVersionExW(&version) && version.dwMajorVersion >= 6;
}

bool GetPrinters(std::vector<PrinterRecord>* records, DWORD* count)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"GetPrinters");
    if (records == nullptr) {
        return false;
    }
    constexpr DWORD kFlags = PRINTER_ENUM_LOCAL | PRINTER_ENUM_CONNECTIONS;
    DWORD needed = 0;
    DWORD returned = 0;
    if (g_pSpoolerApi->EnumPrintersW(kFlags, nullptr, 2, nullptr, 0, &needed, &returned)
        || ::GetLastError() != ERROR_INSUFFICIENT_BUFFER || needed == 0) {
        return false;
    }
    bool result = false;
    try {
        std::vector<BYTE> buffer(needed);
        if (g_pSpoolerApi->EnumPrintersW(kFlags, nullptr, 2, buffer.data(), needed, &needed, &returned)) {
            result = returned != 0;
            *count = returned;
            const auto* infos = reinterpret_cast<const PRINTER_INFO_2W*>(buffer.data());
            const auto copy = [](const wchar_t* text) {
                return text ? std::optional<std::wstring>(text) : std::nullopt;
            };
            records->clear();
            records->reserve(returned);
            for (DWORD i = 0; i < returned; ++i) {
                records->push_back({copy(infos[i].pServerName), copy(infos[i].pPrinterName),
                                    copy(infos[i].pShareName), copy(infos[i].pPortName),
                                    infos[i].Attributes});
            }
        }
    } catch (const std::bad_alloc&) {
        QV_LOG_ERROR(L"Bad Allocation Exception");
    }
    return result;
}

BOOL GetPrinterHandle(const wchar_t* name, HANDLE* handle)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"GetPrinterHandle");
    BOOL opened = FALSE;
    if (IsWindowsVistaOrLater()) {
        const HMODULE spooler = g_pKernelApi->LoadLibraryW(L"WinSpool.drv");
        if (spooler == nullptr) {
            QV_LOG_ERROR(L"hWinSpool == NULL - Failure");
            return FALSE;
        }
        using OpenPrinter2 = BOOL(WINAPI*)(LPCWSTR, LPHANDLE, LPPRINTER_DEFAULTSW, PPRINTER_OPTIONS);
        const auto openPrinter2 =
            reinterpret_cast<OpenPrinter2>(reinterpret_cast<void*>(g_pKernelApi->GetProcAddress(spooler, "OpenPrinter2W")));
        if (openPrinter2 == nullptr) {
            QV_LOG_ERROR(L"OpenPrinter2W == NULL - Failure");
            g_pKernelApi->FreeLibrary(spooler);
            return FALSE;
        }
        PRINTER_OPTIONS options = {};
        options.cbSize = sizeof options;
        options.dwFlags = kPrinterOptionNoCache;
        opened = openPrinter2(name, handle, nullptr, &options);
        const DWORD error = ::GetLastError();
        g_pKernelApi->FreeLibrary(spooler);
        ::SetLastError(error);
    } else {
        opened = g_pSpoolerApi->OpenPrinterW(const_cast<LPWSTR>(name), handle, nullptr);
    }
    const DWORD error = ::GetLastError();
    if (!opened && error != 0) {
        QV_LOG_ERROR(L"OpenPrinter Error Code = 0x%d, Msg = %s", error, GetErrorMessage(error));
    }
    return opened;
}

BOOL GetXcvHandle(const wchar_t* serverName, const wchar_t* portName, HANDLE* handle)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"GetXcvHandle");
    if (serverName == nullptr) {
        QV_LOG_ERROR(L"lpszServerName == NULL");
        return FALSE;
    }
    if (portName == nullptr || *portName == L'\0') {
        QV_LOG_ERROR(L"lpszPortName == NULL");
        return FALSE;
    }
    std::wstring name = SearchString(serverName, UNC_PREFIX_PATTERN) ? L"" : L"\\\\";
    name += serverName;
    name += L"\\,XcvPort ";
    name += portName;
    return GetPrinterHandle(name.c_str(), handle);
}

namespace {

// One monitor command through the transceive channel; true when the
// monitor's status is 0. Both the call's last error and the status are
// logged.
bool SendXcvData(QVLogging::CLogFunction& logScope, HANDLE handle, const wchar_t* command,
                 BYTE* input, DWORD inputBytes, BYTE* output, DWORD outputBytes)
{
    DWORD needed = 0;
    DWORD status = 0;
    g_pSpoolerApi->XcvDataW(handle, command, input, inputBytes, output, outputBytes, &needed, &status);
    const DWORD error = ::GetLastError();
    logScope.LogFormat(kCategoryInfo, __LINE__, L"XcvDataW RETURNED: 0x%d, Msg: %s", error,
                       GetErrorMessage(error));
    logScope.LogFormat(kCategoryInfo, __LINE__, L"XcvDataW STATUS:   0x%d, Msg: %s", status,
                       GetErrorMessage(status));
    return status == 0;
}

}  // namespace

bool GetPortData(HANDLE handle, BYTE* data)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"GetPortData");
    // The platform's CONFIG_INFO_DATA_1: 128 reserved bytes, then dwVersion.
    BYTE configInfo[132] = {};
    configInfo[128] = 1;
    return SendXcvData(logScope, handle, L"GetConfigInfo", configInfo, sizeof configInfo, data,
                       kPortDataBytes);
}

bool GetWsdData(HANDLE handle, BYTE* data)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"GetWsdData");
    BYTE input[kWsdDataBytes] = {};
    return SendXcvData(logScope, handle, L"DeviceID", input, sizeof input, data, kWsdDataBytes);
}

bool GetIpAddrByHost(const wchar_t* hostName, std::wstring& ipv4,
                     wchar_t (*ipv6List)[kResolverTextChars], size_t ipv6Rows, int* ipv6Count)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"GetIpAddrByHost");
    *ipv6Count = 0;
    WSADATA data;
    const int started = g_pWinSockApi->WSAStartup(kWinsockVersion, &data);
    if (started != 0) {
        QV_LOG_ERROR(L"WSAStartup failed: %d", started);
        g_pWinSockApi->WSACleanup();
        return false;
    }
    char name[kAnsiNameBytes];
    ToAnsi(hostName ? hostName : L"", name);
    ADDRINFOA hints = {};
    ADDRINFOA* results = nullptr;
    const int looked = g_pWinSockApi->getaddrinfo(name, nullptr, &hints, &results);
    if (looked != 0) {
        QV_LOG_ERROR(L"GetAddrInfo failed: %d", looked);
    }
    int number = 0;
    for (ADDRINFOA* result = looked == 0 ? results : nullptr; result; result = result->ai_next) {
        QV_LOG_INFO(0, L"getaddrinfo response %d", ++number);
        QV_LOG_INFO(0, L"Flags: 0x%x", result->ai_flags);
        logScope.LogString(kCategoryInfo, __LINE__, L"Family: ", false);
        wchar_t text[INET6_ADDRSTRLEN] = {};
        switch (result->ai_family) {
        case AF_UNSPEC:
            logScope.LogString(kCategoryInfo, __LINE__, L"Unspecified", true);
            break;
        case AF_INET:
            logScope.LogString(kCategoryInfo, __LINE__, L"AF_INET (IPv4)", true);
            if (!AddressToText(result->ai_addr, result->ai_addrlen, text)) {
                QV_LOG_ERROR(L"WSAAddressToString failed with %u", g_pWinSockApi->WSAGetLastError());
                break;
            }
            QV_LOG_INFO(0, L"IPv4 address %s", text);
            ipv4 = text;
            break;
        case AF_NETBIOS:
            logScope.LogString(kCategoryInfo, __LINE__, L"AF_NETBIOS (NetBIOS)", true);
            break;
        case AF_INET6:
            logScope.LogString(kCategoryInfo, __LINE__, L"AF_INET6 (IPv6)", true);
            if (!AddressToText(result->ai_addr, result->ai_addrlen, text)) {
                QV_LOG_ERROR(L"WSAAddressToString failed with %u", g_pWinSockApi->WSAGetLastError());
                break;
            }
            // Rows beyond the caller's list are logged but not kept.
            if (static_cast<size_t>(*ipv6Count) < ipv6Rows) {
                StrWcsCpy(ipv6List[*ipv6Count], kResolverTextChars, text);
                ++*ipv6Count;
            }
            QV_LOG_INFO(0, L"IPv6 address %s", text);
            break;
        default: {
            wchar_t other[32];
            std::swprintf(other, 32, L"Other %ld", static_cast<long>(result->ai_family));
            logScope.LogString(kCategoryInfo, __LINE__, other, true);
            break;
        }
        }
    }
    if (results != nullptr) {
        g_pWinSockApi->freeaddrinfo(results);
    }
    g_pWinSockApi->WSACleanup();
    return looked == 0 && (!ipv4.empty() || *ipv6Count >= 1);
}

bool GetHostByIpAddr(const wchar_t* ipv4Text, std::wstring& hostName)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"GetHostByIpAddr");
    char text[kAnsiNameBytes];
    ToAnsi(ipv4Text ? ipv4Text : L"", text);
    const unsigned long address = ::inet_addr(text);
    if (address == INADDR_NONE) {
        QV_LOG_ERROR(L"The IPv4 address entered must be a legal address");
        return false;
    }
    WSADATA data;
    bool found = false;
    if (g_pWinSockApi->WSAStartup(kWinsockVersion, &data) == 0) {
        const hostent* host = ::gethostbyaddr(reinterpret_cast<const char*>(&address), 4, AF_INET);
        if (host != nullptr) {
            QV_LOG_INFO(0, L"gethostbyaddr function returned:");
            const int chars = g_pKernelApi->MultiByteToWideChar(CP_ACP, 0, host->h_name, -1, nullptr, 0);
            std::wstring name(chars > 0 ? chars : 1, L'\0');
            g_pKernelApi->MultiByteToWideChar(CP_ACP, 0, host->h_name, -1, name.data(), chars);
            name.resize(wcslen(name.c_str()));
            hostName = name;
            QV_LOG_INFO(0, L"Host name: %s", hostName.c_str());
            found = true;
        } else {
            const int error = g_pWinSockApi->WSAGetLastError();
            if (error == WSAHOST_NOT_FOUND) {
                QV_LOG_ERROR(L"Host not found");
            } else if (error == WSANO_DATA) {
                QV_LOG_ERROR(L"No data record found");
            } else if (error != 0) {
                QV_LOG_ERROR(L"gethostbyaddr failed with error: %ld", static_cast<long>(error));
            }
        }
    }
    g_pWinSockApi->WSACleanup();
    return found;
}

}  // namespace Orvane
