#include "winapi/CIPHelperApi.h"

namespace QVWinApi {

DWORD CIPHelperApi::GetAdaptersInfo(PIP_ADAPTER_INFO AdapterInfo, PULONG SizePointer)
{
    return ::GetAdaptersInfo(AdapterInfo, SizePointer);
}

ULONG CIPHelperApi::GetAdaptersAddresses(ULONG Family, ULONG Flags, PVOID Reserved,
        PIP_ADAPTER_ADDRESSES AdapterAddresses, PULONG SizePointer)
{
    return ::GetAdaptersAddresses(Family, Flags, Reserved, AdapterAddresses, SizePointer);
}

DWORD CIPHelperApi::GetIfEntry(PMIB_IFROW pIfRow)
{
    return ::GetIfEntry(pIfRow);
}

DWORD CIPHelperApi::GetInterfaceInfo(PIP_INTERFACE_INFO pIfTable, PULONG dwOutBufLen)
{
    return ::GetInterfaceInfo(pIfTable, dwOutBufLen);
}

DWORD CIPHelperApi::IpReleaseAddress(PIP_ADAPTER_INDEX_MAP AdapterInfo)
{
    return ::IpReleaseAddress(AdapterInfo);
}

DWORD CIPHelperApi::IpRenewAddress(PIP_ADAPTER_INDEX_MAP AdapterInfo)
{
    return ::IpRenewAddress(AdapterInfo);
}

DWORD CIPHelperApi::AddIPAddress(IPAddr Address, IPMask IpMask, DWORD IfIndex, PULONG NTEContext,
        PULONG NTEInstance)
{
    return ::AddIPAddress(Address, IpMask, IfIndex, NTEContext, NTEInstance);
}

DWORD CIPHelperApi::DeleteIPAddress(ULONG NTEContext)
{
    return ::DeleteIPAddress(NTEContext);
}

HANDLE CIPHelperApi::IcmpCreateFile()
{
    return ::IcmpCreateFile();
}

DWORD CIPHelperApi::IcmpSendEcho(HANDLE IcmpHandle, IPAddr DestinationAddress, LPVOID RequestData,
        WORD RequestSize, PIP_OPTION_INFORMATION RequestOptions, LPVOID ReplyBuffer,
        DWORD ReplySize, DWORD Timeout)
{
    return ::IcmpSendEcho(IcmpHandle, DestinationAddress, RequestData, RequestSize, RequestOptions, ReplyBuffer, ReplySize, Timeout);
}

BOOL CIPHelperApi::IcmpCloseHandle(HANDLE IcmpHandle)
{
    return ::IcmpCloseHandle(IcmpHandle);
}

DWORD CIPHelperApi::NotifyAddrChange(PHANDLE Handle, LPOVERLAPPED overlapped)
{
    return ::NotifyAddrChange(Handle, overlapped);
}

}  // namespace QVWinApi

namespace {

QVWinApi::CIPHelperApi s_iPHelperApi;

}  // namespace

QVWinApi::IIPHelperApi* g_pIPHelperApi = &s_iPHelperApi;
