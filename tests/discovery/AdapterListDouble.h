#pragma once

#include <winsock2.h>
#include <ws2tcpip.h>

#include <cstring>
#include <string>
#include <vector>

#include "winapi/CIPHelperApi.h"

namespace discoverytest {

constexpr const char* kNoFamily = "no-family";

// One adapter as GetAdaptersAddresses lists it.
struct FakeAdapter {
    IF_OPER_STATUS operStatus = IfOperStatusUp;
    IFTYPE type = IF_TYPE_ETHERNET_CSMACD;
    // Address texts with their duplicate-address states; kNoFamily stands
    // for a socket address that names no family.
    std::vector<std::pair<std::string, IP_DAD_STATE>> addresses;
};

// GetAdaptersAddresses listing the test's adapters, laid out in the
// caller's buffer as the platform does; or failing with `failure`.
class AdapterListDouble : public QVWinApi::CIPHelperApi {
public:
    ULONG GetAdaptersAddresses(ULONG, ULONG, PVOID, PIP_ADAPTER_ADDRESSES buffer, PULONG size) override
    {
        if (failure != NO_ERROR) {
            return failure;
        }
        size_t count = 0;
        for (const FakeAdapter& adapter : adapters) {
            count += adapter.addresses.size();
        }
        const ULONG needed = static_cast<ULONG>(adapters.size() * sizeof(IP_ADAPTER_ADDRESSES)
                                                + count * (sizeof(IP_ADAPTER_UNICAST_ADDRESS) + sizeof(sockaddr_in6)));
        if (buffer == nullptr || *size < needed) {
            *size = needed;
            return needed == 0 ? NO_ERROR : ERROR_BUFFER_OVERFLOW;
        }
        std::memset(buffer, 0, *size);
        auto* records = buffer;
        auto* unicast = reinterpret_cast<IP_ADAPTER_UNICAST_ADDRESS*>(records + adapters.size());
        auto* sockaddrs = reinterpret_cast<sockaddr_in6*>(unicast + count);
        for (size_t i = 0; i < adapters.size(); ++i) {
            IP_ADAPTER_ADDRESSES& record = records[i];
            record.Next = i + 1 < adapters.size() ? &records[i + 1] : nullptr;
            record.IfIndex = static_cast<DWORD>(i + 2);
            record.OperStatus = adapters[i].operStatus;
            record.IfType = adapters[i].type;
            IP_ADAPTER_UNICAST_ADDRESS** link = &record.FirstUnicastAddress;
            for (const auto& [text, state] : adapters[i].addresses) {
                sockaddr_in6* address = sockaddrs++;
                int length = sizeof(sockaddr_in6);
                if (text == kNoFamily) {
                    // Left zeroed: a socket address of no family.
                } else if (text.find(':') != std::string::npos) {
                    address->sin6_family = AF_INET6;
                    inet_pton(AF_INET6, text.c_str(), &address->sin6_addr);
                } else {
                    auto* in4 = reinterpret_cast<sockaddr_in*>(address);
                    in4->sin_family = AF_INET;
                    inet_pton(AF_INET, text.c_str(), &in4->sin_addr);
                    length = sizeof(sockaddr_in);
                }
                unicast->Address.lpSockaddr = reinterpret_cast<sockaddr*>(address);
                unicast->Address.iSockaddrLength = length;
                unicast->DadState = state;
                *link = unicast;
                link = &unicast->Next;
                ++unicast;
            }
        }
        return NO_ERROR;
    }

    std::vector<FakeAdapter> adapters;
    ULONG failure = NO_ERROR;
};

}  // namespace discoverytest
