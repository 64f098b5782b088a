#pragma once

#include <winsock2.h>
#include <windows.h>
#include <iphlpapi.h>
#include <icmpapi.h>

namespace QVWinApi {

// IP helper: adapters, interfaces, addresses, ICMP echo and address changes.
// Operations in slot order, the destructor last.
class IIPHelperApi {
public:
    virtual DWORD GetAdaptersInfo(PIP_ADAPTER_INFO AdapterInfo, PULONG SizePointer) = 0;
    virtual ULONG GetAdaptersAddresses(ULONG Family, ULONG Flags, PVOID Reserved,
            PIP_ADAPTER_ADDRESSES AdapterAddresses, PULONG SizePointer) = 0;
    virtual DWORD GetIfEntry(PMIB_IFROW pIfRow) = 0;
    virtual DWORD GetInterfaceInfo(PIP_INTERFACE_INFO pIfTable, PULONG dwOutBufLen) = 0;
    virtual DWORD IpReleaseAddress(PIP_ADAPTER_INDEX_MAP AdapterInfo) = 0;
    virtual DWORD IpRenewAddress(PIP_ADAPTER_INDEX_MAP AdapterInfo) = 0;
    virtual DWORD AddIPAddress(IPAddr Address, IPMask IpMask, DWORD IfIndex, PULONG NTEContext,
            PULONG NTEInstance) = 0;
    virtual DWORD DeleteIPAddress(ULONG NTEContext) = 0;
    virtual HANDLE IcmpCreateFile() = 0;
    virtual DWORD IcmpSendEcho(HANDLE IcmpHandle, IPAddr DestinationAddress, LPVOID RequestData,
            WORD RequestSize, PIP_OPTION_INFORMATION RequestOptions, LPVOID ReplyBuffer,
            DWORD ReplySize, DWORD Timeout) = 0;
    virtual BOOL IcmpCloseHandle(HANDLE IcmpHandle) = 0;
    virtual DWORD NotifyAddrChange(PHANDLE Handle, LPOVERLAPPED overlapped) = 0;
    virtual ~IIPHelperApi() = default;
};

}  // namespace QVWinApi

// The object through which the logic reaches these services.
extern QVWinApi::IIPHelperApi* g_pIPHelperApi;
