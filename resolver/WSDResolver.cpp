#include "resolver/WSDResolver.h"

#include <windows.h>
#include <winspool.h>

#include <cstring>
#include <string>
#include <vector>

#include "logging/LogTrace.h"
#include "resolver/WSDPortResolver.h"
#include "winapi/ISpoolerApi.h"

QV_LOG_SOURCE_FILE()

namespace Orvane {

namespace {

// What GetPrinterW at level 5 is first asked into.
constexpr DWORD kPrinterInfoBytes = 1024;

// Checks the arguments and clears the text; false with last error 87.
bool Prepare(const wchar_t* name, wchar_t* text)
{
    if (!name || !text) {
        ::SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    std::memset(text, 0, kWsdAddressChars * sizeof(wchar_t));
    return true;
}

}  // namespace

bool GetIPAddressFromWSDPort(const wchar_t* portName, wchar_t* text, size_t)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::GetIPAddressFromWSDPort");
    if (!Prepare(portName, text)) {
        return false;
    }
    WSDPortResolver resolver(portName);
    return resolver.ResolveToIPAddress(text, kWsdAddressChars) && text[0] != L'\0';
}

bool GetIPAddressFromDeviceID(const wchar_t* deviceID, wchar_t* text, size_t)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::GetIPAddressFromDeviceID");
    if (!Prepare(deviceID, text)) {
        return false;
    }
    WSDPortResolver resolver(deviceID, WSDPortResolver::DeviceID);
    return resolver.ResolveToIPAddressFromDeviceID(text) && text[0] != L'\0';
}

bool GetIPAddressFromWSDPrinter(const wchar_t* printerName, wchar_t* text, size_t chars)
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::GetIPAddressFromWSDPrinter");
    if (!Prepare(printerName, text)) {
        return false;
    }
    QV_LOG_INFO(0, L"Opening printer (%s)...", printerName);
    HANDLE printer = nullptr;
    if (!g_pSpoolerApi->OpenPrinterW(const_cast<wchar_t*>(printerName), &printer, nullptr)) {
        return false;
    }
    QV_LOG_INFO(0, L"Getting port...");
    std::vector<BYTE> info(kPrinterInfoBytes);
    DWORD needed = 0;
    BOOL got = g_pSpoolerApi->GetPrinterW(printer, 5, info.data(), kPrinterInfoBytes, &needed);
    if (!got && ::GetLastError() == ERROR_INSUFFICIENT_BUFFER && needed > 0) {
        info.resize(needed);
        got = g_pSpoolerApi->GetPrinterW(printer, 5, info.data(), needed, &needed);
    }
    std::wstring port;
    const auto* printerInfo = reinterpret_cast<const PRINTER_INFO_5W*>(info.data());
    if (got && printerInfo->pPortName && printerInfo->pPortName[0] != L'\0') {
        port = printerInfo->pPortName;
        QV_LOG_INFO(0, L"Using printer port (%s)", port.c_str());
    }
    g_pSpoolerApi->ClosePrinter(printer);
    return !port.empty() && GetIPAddressFromWSDPort(port.c_str(), text, chars);
}

}  // namespace Orvane
