#pragma once

#include <windows.h>

#include <atomic>
#include <memory>

#include "resolver/IResolver.h"
#include "resolver/ResolverUtils.h"

namespace Orvane {

class ResolverLock;

// The states a search passes through, as flags of m_eResolveState.
enum : unsigned long {
    RESOLVE_STATE_RUNNING = 1,
    RESOLVE_STATE_DONE = 2,
    RESOLVE_STATE_TIMED_OUT = 4,
    RESOLVE_STATE_FAILED = 8,
    RESOLVE_STATE_SUCCEEDED = 16,
};

// Resolves one name: the search runs on a worker thread that Resolve waits
// for at most m_dwResolveTimeout, and the getters report what it gathered.
//
// A Resolver is made by Create and co-owned by its worker, so that a search
// abandoned at its time-out ends harmlessly after its caller has let the
// Resolver go.
class Resolver : public IResolver {
public:
    static std::shared_ptr<Resolver> Create();
    ~Resolver() override;
    Resolver(const Resolver&) = delete;
    Resolver& operator=(const Resolver&) = delete;

    HRESULT Resolve(const wchar_t* name, unsigned long type) override;
    HRESULT GetConnectionType(unsigned long* type) override;
    HRESULT GetTCPIPAddress(wchar_t* buffer, size_t chars, unsigned long* port) override;
    HRESULT GetDirectConnectPort(wchar_t* buffer, size_t chars, unsigned long* reserved) override;
    HRESULT GetQueueName(wchar_t* buffer, size_t chars) override;

protected:
    Resolver();
    // Makes a Resolver (or an object of a derived class) owned as Create's are.
    template <typename T>
    static std::shared_ptr<T> Adopt(T* resolver)
    {
        std::shared_ptr<T> owner(resolver);
        resolver->m_pSelf = owner;
        return owner;
    }

    // The wait for the worker, brought within 10 to 90 seconds.
    DWORD GetResolveThreadTimeout();
    // Finds the queue whose share, printer, port or server name (by `type`)
    // is `name`, and takes its four names.
    bool MatchPrinterInfo(const wchar_t* name, unsigned long type);

    HRESULT m_hrResolve;
    std::atomic<unsigned long> m_eResolveState;
    unsigned long m_eResolveType;
    unsigned long m_cxType;
    wchar_t m_pSearchName[kResolverTextChars];
    wchar_t m_pRemotePath[kResolverTextChars];
    wchar_t m_pServerName[kResolverTextChars];
    wchar_t m_pPrinterName[kResolverTextChars];
    wchar_t m_pPortName[kResolverTextChars];
    wchar_t m_pPortID[kResolverTextChars];
    wchar_t m_pShareName[kResolverTextChars];
    wchar_t m_wcHostName[kResolverTextChars];
    wchar_t m_wcHWAddress[kResolverTextChars];
    wchar_t m_wcIPAddress[kResolverTextChars];
    wchar_t m_pSNMPCommunity[kResolverTextChars];
    wchar_t m_pQueueName[kResolverTextChars];
    wchar_t m_pDeviceID[kResolverTextChars];
    DWORD m_dwPortNumber;
    DWORD m_dwResolveTimeout;
    wchar_t m_wcIPv6HostName[kResolverTextChars];
    static constexpr size_t kIPv6Rows = 20;
    wchar_t m_wcIPv6AddressList[kIPv6Rows][kResolverTextChars];
    int m_nIPv6AddressCount;

    // The steps of the search, in the order ResolveStart takes them.
    // A queue of another machine, a redirected LPT port, or a port of this
    // machine's port monitors.
    bool NetworkPrinter();
    // The address in the name of an internet printing queue.
    bool IppPortResolved();
    // A share of a server that isn't NT (`searchName` is the UNC path behind
    // the port), or of an NT server (the printer's own UNC name).
    bool NonNTSharePrinter(const wchar_t* searchName);
    bool NTSharePrinter();
    // The server's monitor asked for the port's address, under the
    // process-wide lock; `name` may be null.
    bool ResolveRemoteHost(const wchar_t* name);
    bool RemoteTcpIpPortResolved(const wchar_t* server, const wchar_t* port);
    // The address, host, port and community of a monitor's answer.
    bool TakeRemotePortData(const PortData1& data);
    // A Novell queue's IPX address through the family's IPX library; `name`
    // null stands for the port name.
    bool NovellIpxPortResolved(const wchar_t* name);
    // The ports of this machine's port monitors, found in their keys.
    bool StandardPortMonitor();
    bool LocalTcpIpPortResolved(HKEY key, int isEquitrac);
    bool IpxPortResolved(HKEY key);
    bool VelnetPortResolved();
    bool LprPortResolved();
    bool ZqDlcNetworkResolved();
    // A port of the system's WSD monitor, through WSD discovery: by the
    // device's identity when one is given, else by port and printer name.
    bool WsdPortResolved(const wchar_t* deviceID);

    // The local numbered ports, recognised by name alone.
    bool LocalPrinter();
    bool LptPortResolved();
    bool Dot4PortResolved();
    bool UsbPortResolved();
    bool TerminalServicePortResolved();
    bool FireWirePortResolved();
    // The form the five share: the port's number read from character
    // `numberAt` of its name, and the flag.
    void TakeLocalPort(size_t numberAt, unsigned long flag);

private:
    void InitMembers();
    HRESULT RunResolveThread();
    static unsigned __stdcall ResolveThread(void* share);
    HRESULT ResolveStart();
    void SetQueueName();
    // The getters' common test: E_PENDING until Resolve has run.
    bool HasResolved() const;

    std::weak_ptr<Resolver> m_pSelf;
    std::shared_ptr<ResolverLock> m_pLock;
};

}  // namespace Orvane
