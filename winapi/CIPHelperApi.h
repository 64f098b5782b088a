#pragma once

#include "winapi/IIPHelperApi.h"

namespace QVWinApi {

// Forwards each operation unchanged to the platform function of its name.
class CIPHelperApi : public IIPHelperApi {
public:
    constexpr CIPHelperApi() = default;

    DWORD GetAdaptersInfo(PIP_ADAPTER_INFO AdapterInfo, PULONG SizePointer) override;
    ULONG GetAdaptersAddresses(ULONG Family, ULONG Flags, PVOID Reserved,
            PIP_ADAPTER_ADDRESSES AdapterAddresses, PULONG SizePointer) override;
    DWORD GetIfEntry(PMIB_IFROW pIfRow) override;
    DWORD GetInterfaceInfo(PIP_INTERFACE_INFO pIfTable, PULONG dwOutBufLen) override;
    DWORD IpReleaseAddress(PIP_ADAPTER_INDEX_MAP AdapterInfo) override;
    DWORD IpRenewAddress(PIP_ADAPTER_INDEX_MAP AdapterInfo) override;
    DWORD AddIPAddress(IPAddr Address, IPMask IpMask, DWORD IfIndex, PULONG NTEContext,
            PULONG NTEInstance) override;
    DWORD DeleteIPAddress(ULONG NTEContext) override;
    HANDLE IcmpCreateFile() override;
    DWORD IcmpSendEcho(HANDLE IcmpHandle, IPAddr DestinationAddress, LPVOID RequestData,
            WORD RequestSize, PIP_OPTION_INFORMATION RequestOptions, LPVOID ReplyBuffer,
            DWORD ReplySize, DWORD Timeout) override;
    BOOL IcmpCloseHandle(HANDLE IcmpHandle) override;
    DWORD NotifyAddrChange(PHANDLE Handle, LPOVERLAPPED overlapped) override;
};

}  // namespace QVWinApi
