#include "fuzz/FuzzResolver.h"

#include <cwchar>

namespace fuzz {

std::shared_ptr<FuzzResolver> FuzzResolver::Make()
{
    std::shared_ptr<FuzzResolver> resolver = Adopt(new FuzzResolver);
    // No queue has this port in the test prefix: the search fails at once,
    // and the lock stays with the resolver.
    resolver->Resolve(L"ORVANE_FUZZ_NO_SUCH_PORT", Orvane::RESOLVE_TYPE_PORT);
    return resolver;
}

void FuzzResolver::Start(const std::wstring& portName, const std::wstring& printerName)
{
    m_eResolveState = Orvane::RESOLVE_STATE_RUNNING;
    m_cxType = 0;
    m_dwPortNumber = 0;
    m_nIPv6AddressCount = 0;
    for (wchar_t* text : {m_pPortID, m_wcIPAddress, m_wcHWAddress, m_pSNMPCommunity, m_wcIPv6HostName,
                          m_wcHostName}) {
        text[0] = L'\0';
    }
    Orvane::StrWcsCpy(m_pPortName, Orvane::kResolverTextChars, portName.c_str());
    Orvane::StrWcsCpy(m_pPrinterName, Orvane::kResolverTextChars, printerName.c_str());
}

}  // namespace fuzz
