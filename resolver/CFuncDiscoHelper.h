#pragma once

#include <windows.h>
#include <propsys.h>

#include <atomic>

#include "resolver/WSDPortResolver.h"
#include "winapi/FunctionDiscovery.h"

namespace Orvane {

// The platform's notification sink, as the helper implements it.
using CFunctionDiscoveryNotificationWrapper = QVWinApi::IFunctionDiscoveryNotification;

// Waits for the WSD provider to report the device of one identity and takes
// its address from the instance's properties. Reference counted from 1;
// the platform calls OnUpdate on a thread of its own.
class CFuncDiscoHelper : public CFunctionDiscoveryNotificationWrapper {
public:
    CFuncDiscoHelper();

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    HRESULT STDMETHODCALLTYPE OnUpdate(QVWinApi::QueryUpdateAction action, QVWinApi::FDQUERYCONTEXT context,
                                       QVWinApi::IFunctionInstance* instance) override;
    HRESULT STDMETHODCALLTYPE OnError(HRESULT hr, QVWinApi::FDQUERYCONTEXT context, const WCHAR* provider) override;
    HRESULT STDMETHODCALLTYPE OnEvent(DWORD eventID, QVWinApi::FDQUERYCONTEXT context,
                                      const WCHAR* provider) override;
    virtual ~CFuncDiscoHelper();

    // Keeps the identity, makes the event and the platform's discovery.
    HRESULT Initialize(const wchar_t* deviceID);
    // Queries the WSD provider for the identity and waits for the match,
    // at most kDiscoverTimeout; RPC_S_CALLPENDING when it ran out.
    HRESULT Discover();
    // The address found, copied into kWsdAddressChars of `text`; false when
    // there is none (yet).
    bool GetIpAddress(wchar_t* text) const;

    static constexpr DWORD kDiscoverTimeout = 30000;

private:
    // The first address among the store's properties.
    void PullAddress(IPropertyStore* store);

    std::atomic<LONG> m_lRef;
    HANDLE m_hEvent;
    QVWinApi::IFunctionDiscovery* m_pDiscovery;
    wchar_t m_wcAddress[kWsdAddressChars];
    wchar_t m_wcDeviceID[kWsdAddressChars];
};

}  // namespace Orvane
