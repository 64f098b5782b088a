// The resolver's steps for the numbered local ports (LPT, DOT4, USB,
// terminal service, FireWire), which are recognised by their names alone.
#include "resolver/Resolver.h"

#include <cwchar>

#include "logging/LogTrace.h"
#include "resolver/ResolverLock.h"
#include "resolver/ResolverPatterns.h"

QV_LOG_SOURCE_FILE()

namespace Orvane {

using QVLogging::kCategoryReturn;

bool Resolver::LocalPrinter()
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::LocalPrinter");
    const ResolverLock::Hold hold(*m_pLock);
    // After a time-out the abandoned search goes no further.
    if (!(m_eResolveState & RESOLVE_STATE_RUNNING)) {
        return false;
    }
    // A remote printer is never a local port.
    if (SearchString(m_pPrinterName, UNC_PREFIX_PATTERN)) {
        return false;
    }
    static const struct {
        bool (Resolver::*step)();
        const wchar_t* line;
    } kSteps[] = {
        {&Resolver::LptPortResolved, L"a valid LPT port"},
        {&Resolver::Dot4PortResolved, L"a valid DOT4 - USB / Direct Connect parallel port"},
        {&Resolver::UsbPortResolved, L"a valid USB port"},
        {&Resolver::TerminalServicePortResolved, L"a valid Terminal Service port"},
        {&Resolver::FireWirePortResolved, L"a valid 1394x port"},
    };
    for (const auto& step : kSteps) {
        if ((this->*step.step)()) {
            QV_LOG_INFO(0, L"%s", step.line);
            return true;
        }
    }
    QV_LOG_INFO(0, L"failed to resolve port");
    return false;
}

void Resolver::TakeLocalPort(size_t numberAt, unsigned long flag)
{
    StrWcsCpy(m_pPortID, kResolverTextChars, m_pPortName);
    const size_t length = wcslen(m_pPortName);
    m_dwPortNumber = numberAt < length ? static_cast<DWORD>(std::wcstol(m_pPortName + numberAt, nullptr, 10)) : 0;
    m_cxType |= flag;
}

bool Resolver::LptPortResolved()
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::LptPortResolved");
    const bool resolved = MatchWholeString(m_pPortName, LPT_PORT_PATTERN);
    if (resolved) {
        TakeLocalPort(3, CX_TYPE_LPT);
        QV_LOG_INFO(0, L"This is an valid LPTx port");
    }
    QV_LOG_LINE(kCategoryReturn, L"Return: %s", StepOutcome(resolved));
    return resolved;
}

bool Resolver::Dot4PortResolved()
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::Dot4PortResolved");
    const bool resolved = MatchWholeString(m_pPortName, DOT4_PORT_PATTERN);
    if (resolved) {
        TakeLocalPort(5, CX_TYPE_DOT4);
    }
    QV_LOG_LINE(kCategoryReturn, L"Return: %s", StepOutcome(resolved));
    return resolved;
}

bool Resolver::UsbPortResolved()
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::UsbPortResolved");
    bool resolved = false;
    if (MatchWholeString(m_pPortName, USB_PORT_PATTERN)) {
        // The queue is looked up again by its printer name.
        resolved = MatchPrinterInfo(m_pPrinterName, RESOLVE_TYPE_PRINTER);
        QV_LOG_INFO(0, L"MatchPrinterInfo(match printername and portname) %s", StepOutcome(resolved));
        if (resolved) {
            TakeLocalPort(3, CX_TYPE_USB);
        }
    }
    QV_LOG_LINE(kCategoryReturn, L"Return: %s", StepOutcome(resolved));
    return resolved;
}

bool Resolver::TerminalServicePortResolved()
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::TerminalServicePortResolved");
    // The number is read from character 3, as for the USB ports: TS012 gives
    // 12, TS123 gives 23.
    const bool resolved = MatchWholeString(m_pPortName, TS_PORT_PATTERN)
        && MatchPrinterInfo(m_pPrinterName, RESOLVE_TYPE_PRINTER);
    if (resolved) {
        TakeLocalPort(3, CX_TYPE_REDIRECTED);
    }
    QV_LOG_LINE(kCategoryReturn, L"Return: %s", StepOutcome(resolved));
    return resolved;
}

bool Resolver::FireWirePortResolved()
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::FireWirePortResolved");
    const bool resolved = wcsncmp(m_pPortName, L"1394_", 5) == 0;
    if (resolved) {
        TakeLocalPort(5, CX_TYPE_FIREWIRE);
        QV_LOG_INFO(0, L"This is a valid firewire (1394) port");
    }
    QV_LOG_LINE(kCategoryReturn, L"Return: %s", StepOutcome(resolved));
    return resolved;
}

}  // namespace Orvane
