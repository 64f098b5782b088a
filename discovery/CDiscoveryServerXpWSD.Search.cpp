#include <winsock2.h>

#include <memory>
#include <new>
#include <string>

#include "discovery/CDiscoveredDeviceXpWSD.h"
#include "discovery/CDiscoveryServerXpWSD.h"
#include "discovery/CWSDSession.h"
#include "discovery/DiscoveryStatus.h"
#include "discovery/WSDAddress.h"
#include "discovery/WSDConstants.h"
#include "logging/LogTrace.h"
#include "utils/StringUtils.h"
#include "winapi/IWinSockApi.h"

QV_LOG_SOURCE_FILE()

namespace QVDiscovery {

namespace {

const char* GroupFor(const std::string& localAddress)
{
    return IsIPv6Address(localAddress.c_str()) ? kWSDGroupIPv6 : kWSDGroupIPv4;
}

// Waits for the stop event (index 0) or one of the read events.
DWORD WaitForEvents(const HANDLE* events, DWORD count)
{
    return ::WSAWaitForMultipleEvents(count, events, FALSE, WSA_INFINITE, FALSE);
}

}  // namespace

template <typename Session>
unsigned long CDiscoveryServerXpWSD<Session>::SearchById(DiscoveryThreadArgs& args)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServerXpWSD::SearchById");
    try {
        const std::string target = StringUtils::WideToUtf8(args.request.target);
        const char* local = args.localAddress.c_str();
        const bool ipv6 = IsIPv6Address(local);
        auto session = std::make_unique<Session>();
        if (!session->SendResolve(local, GroupFor(args.localAddress), target.c_str())) {
            QV_LOG_ERROR(L"ResolveSession.SendResolve(%S, %S, %S, SO_BROADCAST) failed.\n", local,
                         GroupFor(args.localAddress), target.c_str());
            return DISCOVERY_E_NETWORK;
        }
        const HANDLE readEvent = session->GetReadEvent();
        if (readEvent == nullptr) {
            QV_LOG_ERROR(L"ResolveSession.GetReadEvent() failed.\n");
            return DISCOVERY_E_INTERNAL;
        }
        const HANDLE events[2] = {args.stopEvent, readEvent};
        for (;;) {
            const DWORD woken = WaitForEvents(events, 2);
            if (woken == WSA_WAIT_FAILED) {
                QV_LOG_ERROR(L"WSAWaitForMultipleEvents failed, err=%d", g_pWinSockApi->WSAGetLastError());
                return DISCOVERY_E_INTERNAL;
            }
            if (woken == WSA_WAIT_EVENT_0) {
                return DISCOVERY_E_STOPPED;
            }
            g_pWinSockApi->WSAResetEvent(readEvent);
            if (!session->ReceiveBegin()) {
                continue;
            }
            struct wsd__ResolveMatchesZQType matches {};
            unsigned long status = kDiscoveryResultPending;
            if (session->ReceiveResolveMatches(&matches)) {
                const wsd__ResolveMatchZQType& match = *matches.wsd__ResolveMatch;
                status = args.addQueue->QueueEvent(
                    CDiscoveredDeviceXpWSD(match.zqd__VendorExtension, match.wsa__EndpointReference.wsa__Address,
                                           ipv6),
                    args.request.context);
            }
            session->ReceiveEnd();
            if (status != kDiscoveryResultPending) {
                return status;
            }
        }
    } catch (const std::bad_alloc&) {
        return DISCOVERY_E_OUTOFMEMORY;
    }
}

template <typename Session>
unsigned long CDiscoveryServerXpWSD<Session>::SearchByAddress(DiscoveryThreadArgs& args)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServerXpWSD::SearchByAddress");
    try {
        const std::string target = StringUtils::WideToUtf8(args.request.target);
        const bool ipv6 = IsIPv6Address(target.c_str());
        auto session = std::make_unique<Session>();
        if (!session->SendProbe("", target.c_str(), nullptr, 0)) {
            QV_LOG_ERROR(L"WSDSession.SendProbe(%S, %S) failed", "", target.c_str());
            return DISCOVERY_E_NETWORK;
        }
        const HANDLE readEvent = session->GetReadEvent();
        if (readEvent == nullptr) {
            QV_LOG_ERROR(L"WSDSession.GetReadEvent() failed");
            return DISCOVERY_E_INTERNAL;
        }
        const HANDLE events[2] = {args.stopEvent, readEvent};
        const DWORD woken = WaitForEvents(events, 2);
        if (woken == WSA_WAIT_FAILED) {
            QV_LOG_ERROR(L"WSAWaitForMultipleEvents failed, err=%d", g_pWinSockApi->WSAGetLastError());
            return DISCOVERY_E_INTERNAL;
        }
        if (woken == WSA_WAIT_EVENT_0) {
            return DISCOVERY_E_STOPPED;
        }
        g_pWinSockApi->WSAResetEvent(readEvent);
        // Whatever goes wrong from here on fails the search.
        unsigned long status = DISCOVERY_E_INTERNAL;
        if (session->ReceiveBegin()) {
            struct wsd__ProbeMatchesZQType matches {};
            if (session->ReceiveProbeMatches(&matches) && matches.__sizeProbeMatch >= 1) {
                const wsd__ProbeMatchZQType& match = matches.wsd__ProbeMatch[0];
                status = args.addQueue->QueueEvent(
                    CDiscoveredDeviceXpWSD(match.zqd__VendorExtension, match.wsa__EndpointReference.wsa__Address,
                                           ipv6),
                    args.request.context);
            }
            session->ReceiveEnd();
        }
        return status;
    } catch (const std::bad_alloc&) {
        return DISCOVERY_E_OUTOFMEMORY;
    }
}

template <typename Session>
unsigned long CDiscoveryServerXpWSD<Session>::SearchByType(DiscoveryThreadArgs& args)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CDiscoveryServerXpWSD::SearchByType");
    try {
        std::string types = StringUtils::WideToUtf8(args.request.target);
        if (types.empty()) {
            types = kWSDDefaultTypes;
        }
        const char* local = args.localAddress.c_str();
        const char* group = GroupFor(args.localAddress);
        const bool ipv6 = IsIPv6Address(local);
        auto helloBye = std::make_unique<Session>();
        auto probe = std::make_unique<Session>();
        if (!helloBye->Bind(local)) {
            QV_LOG_ERROR(L"HelloByeSession.Bind(%S, SO_REUSEADDR) failed", local);
            return DISCOVERY_E_NETWORK;
        }
        if (!helloBye->AddMembership(local, group)) {
            QV_LOG_ERROR(L"HelloByeSession.AddMembership(%S, %S) failed", local, group);
            return DISCOVERY_E_NETWORK;
        }
        const HANDLE helloByeEvent = helloBye->GetReadEvent();
        if (helloByeEvent == nullptr) {
            QV_LOG_ERROR(L"HelloByeSession.GetReadEvent() failed");
            return DISCOVERY_E_INTERNAL;
        }
        // Only now, so that no Hello is missed.
        if (!probe->SendProbe(local, group, types.c_str(), SO_BROADCAST)) {
            QV_LOG_ERROR(L"ProbeSession.SendProbe(%S, %S, %S, SO_BROADCAST) failed.\n", local, group, types.c_str());
            return DISCOVERY_E_NETWORK;
        }
        const HANDLE probeEvent = probe->GetReadEvent();
        if (probeEvent == nullptr) {
            QV_LOG_ERROR(L"ProbeSession.GetReadEvent() failed.\n");
            return DISCOVERY_E_INTERNAL;
        }
        const HANDLE events[3] = {args.stopEvent, probeEvent, helloByeEvent};
        long added = 0;
        unsigned long status = DISCOVERY_OK;
        while (status == DISCOVERY_OK) {
            const DWORD woken = WaitForEvents(events, 3);
            if (woken == WSA_WAIT_FAILED) {
                QV_LOG_ERROR(L"WSAWaitForMultipleEvents failed, err=%d", g_pWinSockApi->WSAGetLastError());
                status = DISCOVERY_E_INTERNAL;
            } else if (woken == WSA_WAIT_EVENT_0) {
                status = DISCOVERY_E_STOPPED;
            } else if (woken == WSA_WAIT_EVENT_0 + 1) {
                g_pWinSockApi->WSAResetEvent(probeEvent);
                if (probe->ReceiveBegin()) {
                    struct wsd__ProbeMatchesZQType matches {};
                    if (probe->ReceiveProbeMatches(&matches)) {
                        const wsd__ProbeMatchZQType& match = matches.wsd__ProbeMatch[0];
                        status = args.addQueue->QueueEvent(
                            CDiscoveredDeviceXpWSD(match.zqd__VendorExtension,
                                                   match.wsa__EndpointReference.wsa__Address, ipv6),
                            args.request.context);
                        added += status == DISCOVERY_OK ? 1 : 0;
                    }
                    probe->ReceiveEnd();
                }
            } else {
                g_pWinSockApi->WSAResetEvent(helloByeEvent);
                if (helloBye->ReceiveBegin()) {
                    struct wsd__HelloZQType hello {};
                    struct wsd__ByeZQType bye {};
                    if (helloBye->ReceiveHello(&hello)) {
                        status = args.addQueue->QueueEvent(
                            CDiscoveredDeviceXpWSD(hello.zqd__VendorExtension,
                                                   hello.wsa__EndpointReference.wsa__Address, ipv6),
                            args.request.context);
                        added += status == DISCOVERY_OK ? 1 : 0;
                    } else if (helloBye->ReceiveBye(&bye)) {
                        status = args.removeQueue->QueueEvent(
                            CDiscoveredDeviceXpWSD(bye.zqd__VendorExtension, bye.wsa__EndpointReference.wsa__Address,
                                                   ipv6),
                            args.request.context);
                    }
                    helloBye->ReceiveEnd();
                }
            }
        }
        return added > 0 ? DISCOVERY_OK : status;
    } catch (const std::bad_alloc&) {
        return DISCOVERY_E_OUTOFMEMORY;
    }
}

template unsigned long CDiscoveryServerXpWSD<CWSDSession>::SearchById(DiscoveryThreadArgs&);
template unsigned long CDiscoveryServerXpWSD<CWSDSession>::SearchByAddress(DiscoveryThreadArgs&);
template unsigned long CDiscoveryServerXpWSD<CWSDSession>::SearchByType(DiscoveryThreadArgs&);

}  // namespace QVDiscovery
