// The resolver's first step after the queue is found: a queue of another
// machine, a redirected LPT port, and the ports of this machine's port
// monitors.
#include "resolver/Resolver.h"

#include "logging/LogTrace.h"
#include "resolver/ResolverPatterns.h"

QV_LOG_SOURCE_FILE()

namespace Orvane {

bool Resolver::NetworkPrinter()
{
    QV_LOG_FUNCTION(g_pOrvaneResolverLog, L"Orvane::Resolver::NetworkPrinter");
    // The UNC path behind the port, used only behind a UNC printer name.
    const wchar_t* searchName = nullptr;
    if (GetLptRemotePath(m_pPortName, m_pRemotePath)) {
        QV_LOG_INFO(0, L"%s is a redirected LPT port.", m_pPortName);
        m_cxType |= CX_TYPE_REDIRECTED | CX_TYPE_LPT;
        searchName = m_pRemotePath;
    } else if (SearchString(m_pPortName, UNC_PREFIX_PATTERN)) {
        QV_LOG_INFO(0, L"%s is not a redirected LPT port.", m_pPortName);
        searchName = m_pPortName;
    }
    if (SearchString(m_pPrinterName, UNC_PREFIX_PATTERN)) {
        QV_LOG_INFO(0, L"m_pPrinterName is a UNC");
        if (IppPortResolved()) {
            QV_LOG_INFO(0, L"IPP Port resolved.");
            return true;
        }
        QV_LOG_INFO(0, L"m_pPrinterName is a UNC. Not IPP.");
        if (searchName) {
            return NonNTSharePrinter(searchName);
        }
        QV_LOG_INFO(0, L"Attempt to resolve NT Share name.");
        return NTSharePrinter();
    }
    static const struct {
        bool (*step)(Resolver&);
        const wchar_t* line;
    } kSteps[] = {
        {[](Resolver& r) { return r.StandardPortMonitor(); }, L"a valid standard port monitor"},
        {[](Resolver& r) { return r.WsdPortResolved(nullptr); }, L"a valid WSD port"},
        {[](Resolver& r) { return r.VelnetPortResolved(); }, L"a valid Velnet port"},
        {[](Resolver& r) { return r.LprPortResolved(); }, L"a valid LPR port"},
        {[](Resolver& r) { return r.ZqDlcNetworkResolved(); }, L"a valid Zeloq Network (DLC) port"},
    };
    for (const auto& step : kSteps) {
        if (step.step(*this)) {
            QV_LOG_INFO(0, L"%s", step.line);
            return true;
        }
    }
    return false;
}

}  // namespace Orvane
