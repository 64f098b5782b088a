#include "devsim/DiscoveryResponder.h"

#include <ws2tcpip.h>
#include <iphlpapi.h>

#include <memory>

#include "common/ErrorText.h"
#include "devsim/Listener.h"

namespace devsim {

namespace {

const unsigned short kPort = 3702;

std::string LastError(const std::string& what)
{
    return what + ": error " + tools::ErrorText::Describe(static_cast<unsigned long>(WSAGetLastError()));
}

// The index of the interface that holds this IPv6 address, or 0.
unsigned long InterfaceOf(const in6_addr& address)
{
    const ULONG flags = GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_SKIP_DNS_SERVER;
    ULONG size = 0;
    if (GetAdaptersAddresses(AF_UNSPEC, flags, nullptr, nullptr, &size) != ERROR_BUFFER_OVERFLOW) {
        return 0;
    }
    std::unique_ptr<char[]> buffer(new char[size]);
    auto* adapters = reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.get());
    if (GetAdaptersAddresses(AF_UNSPEC, flags, nullptr, adapters, &size) != ERROR_SUCCESS) {
        return 0;
    }
    for (auto* adapter = adapters; adapter != nullptr; adapter = adapter->Next) {
        for (auto* unicast = adapter->FirstUnicastAddress; unicast != nullptr; unicast = unicast->Next) {
            const sockaddr* found = unicast->Address.lpSockaddr;
            if (found->sa_family == AF_INET6
                && memcmp(&reinterpret_cast<const sockaddr_in6*>(found)->sin6_addr, &address, sizeof(address)) == 0) {
                return adapter->Ipv6IfIndex != 0 ? adapter->Ipv6IfIndex : adapter->IfIndex;
            }
        }
    }
    return 0;
}

}  // namespace

DiscoveryResponder::DiscoveryResponder(DiscoveryMessages& messages, EventLog& log) : m_messages(messages), m_log(log)
{
}

DiscoveryResponder::~DiscoveryResponder()
{
    for (const Group& group : m_groups) {
        closesocket(group.socket);
    }
}

bool DiscoveryResponder::Start(const std::string& ipv4, std::string* error)
{
    const std::vector<std::string>& ipv6 = m_messages.Identity().ipv6;
    if ((!ipv4.empty() && !OpenIPv4(ipv4, error)) || (!ipv6.empty() && !OpenIPv6(ipv6.front(), error))) {
        return false;
    }
    Announce("Hello", m_messages.Hello());
    return true;
}

bool DiscoveryResponder::OpenIPv4(const std::string& local, std::string* error)
{
    Group group;
    in_addr interfaceAddress{};
    if (inet_pton(AF_INET, local.c_str(), &interfaceAddress) != 1) {
        *error = "'" + local + "' is no IPv4 address";
        return false;
    }
    auto& to = reinterpret_cast<sockaddr_in&>(group.address);
    to.sin_family = AF_INET;
    to.sin_port = htons(kPort);
    inet_pton(AF_INET, "239.255.255.250", &to.sin_addr);
    group.length = sizeof(sockaddr_in);
    group.name = "239.255.255.250:3702 on " + local;
    sockaddr_in any{};
    any.sin_family = AF_INET;
    any.sin_port = htons(kPort);
    ip_mreq membership{};
    membership.imr_multiaddr = to.sin_addr;
    membership.imr_interface = interfaceAddress;
    // Announcements stay on the link.
    const DWORD ttl = 1;
    group.socket = socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
    const BOOL reuse = TRUE;
    u_long nonBlocking = 1;
    const bool ok = group.socket != INVALID_SOCKET
                    && setsockopt(group.socket, SOL_SOCKET, SO_REUSEADDR, reinterpret_cast<const char*>(&reuse),
                                  sizeof(reuse)) == 0
                    && bind(group.socket, reinterpret_cast<const sockaddr*>(&any), sizeof(any)) == 0
                    && setsockopt(group.socket, IPPROTO_IP, IP_ADD_MEMBERSHIP,
                                  reinterpret_cast<const char*>(&membership), sizeof(membership)) == 0
                    && setsockopt(group.socket, IPPROTO_IP, IP_MULTICAST_IF,
                                  reinterpret_cast<const char*>(&interfaceAddress), sizeof(interfaceAddress)) == 0
                    && setsockopt(group.socket, IPPROTO_IP, IP_MULTICAST_TTL, reinterpret_cast<const char*>(&ttl),
                                  sizeof(ttl)) == 0
                    && ioctlsocket(group.socket, FIONBIO, &nonBlocking) == 0;
    if (!ok) {
        *error = LastError("cannot join " + group.name);
        closesocket(group.socket);
        return false;
    }
    m_log.Line("discovery listening on " + group.name);
    m_groups.push_back(group);
    return true;
}

bool DiscoveryResponder::OpenIPv6(const std::string& local, std::string* error)
{
    Group group;
    in6_addr localAddress{};
    if (inet_pton(AF_INET6, local.c_str(), &localAddress) != 1) {
        *error = "'" + local + "' is no IPv6 address";
        return false;
    }
    const DWORD index = InterfaceOf(localAddress);
    if (index == 0) {
        *error = "no interface has the address " + local;
        return false;
    }
    auto& to = reinterpret_cast<sockaddr_in6&>(group.address);
    to.sin6_family = AF_INET6;
    to.sin6_port = htons(kPort);
    to.sin6_scope_id = index;
    inet_pton(AF_INET6, "ff02::c", &to.sin6_addr);
    group.length = sizeof(sockaddr_in6);
    group.name = "[FF02::C]:3702 on interface " + std::to_string(index);
    sockaddr_in6 any{};
    any.sin6_family = AF_INET6;
    any.sin6_port = htons(kPort);
    ipv6_mreq membership{};
    membership.ipv6mr_multiaddr = to.sin6_addr;
    membership.ipv6mr_interface = index;
    const DWORD hops = 1;
    const DWORD v6Only = 1;
    const BOOL reuse = TRUE;
    u_long nonBlocking = 1;
    group.socket = socket(AF_INET6, SOCK_DGRAM, IPPROTO_UDP);
    const bool ok = group.socket != INVALID_SOCKET
                    && setsockopt(group.socket, SOL_SOCKET, SO_REUSEADDR, reinterpret_cast<const char*>(&reuse),
                                  sizeof(reuse)) == 0
                    && setsockopt(group.socket, IPPROTO_IPV6, IPV6_V6ONLY, reinterpret_cast<const char*>(&v6Only),
                                  sizeof(v6Only)) == 0
                    && bind(group.socket, reinterpret_cast<const sockaddr*>(&any), sizeof(any)) == 0
                    && setsockopt(group.socket, IPPROTO_IPV6, IPV6_ADD_MEMBERSHIP,
                                  reinterpret_cast<const char*>(&membership), sizeof(membership)) == 0
                    && setsockopt(group.socket, IPPROTO_IPV6, IPV6_MULTICAST_IF, reinterpret_cast<const char*>(&index),
                                  sizeof(index)) == 0
                    && setsockopt(group.socket, IPPROTO_IPV6, IPV6_MULTICAST_HOPS,
                                  reinterpret_cast<const char*>(&hops), sizeof(hops)) == 0
                    && ioctlsocket(group.socket, FIONBIO, &nonBlocking) == 0;
    if (!ok) {
        *error = LastError("cannot join " + group.name);
        closesocket(group.socket);
        return false;
    }
    m_log.Line("discovery listening on " + group.name);
    m_groups.push_back(group);
    return true;
}

void DiscoveryResponder::AddSockets(fd_set* readable) const
{
    for (const Group& group : m_groups) {
        FD_SET(group.socket, readable);
    }
}

void DiscoveryResponder::OnReadable(const fd_set& readable)
{
    for (const Group& group : m_groups) {
        if (FD_ISSET(group.socket, &readable)) {
            Answer(group);
        }
    }
}

void DiscoveryResponder::Stop()
{
    Announce("Bye", m_messages.Bye());
}

void DiscoveryResponder::Announce(const char* what, const std::string& message)
{
    for (const Group& group : m_groups) {
        if (Send(group, message, reinterpret_cast<const sockaddr*>(&group.address), group.length)) {
            m_log.Line(std::string("wsd ") + what + " sent to " + group.name);
        }
    }
}

void DiscoveryResponder::Answer(const Group& group)
{
    // A datagram is at most 64 KiB; a larger one comes cut and is not read.
    static char buffer[65536];
    for (;;) {
        sockaddr_storage from{};
        int length = sizeof(from);
        const int received = recvfrom(group.socket, buffer, sizeof(buffer), 0, reinterpret_cast<sockaddr*>(&from),
                                      &length);
        if (received < 0) {
            return;
        }
        const DiscoveryRequest request = DiscoveryRequest::Read(std::string(buffer, static_cast<size_t>(received)));
        const std::string peer = Listener::NameOf(reinterpret_cast<const sockaddr*>(&from), length);
        if (request.kind == DiscoveryRequest::Kind::Probe) {
            const bool match = request.Matches(m_messages.Types());
            if (match) {
                Send(group, m_messages.ProbeMatches(request.messageId), reinterpret_cast<const sockaddr*>(&from),
                     length);
            }
            m_log.Line("wsd Probe from " + peer + (match ? ": ProbeMatches sent" : ": no match"));
        } else if (request.kind == DiscoveryRequest::Kind::Resolve) {
            const bool match = request.endpoint == m_messages.Identity().Endpoint();
            if (match) {
                Send(group, m_messages.ResolveMatches(request.messageId), reinterpret_cast<const sockaddr*>(&from),
                     length);
            }
            m_log.Line("wsd Resolve from " + peer + (match ? ": ResolveMatches sent" : ": not this device"));
        }
    }
}

bool DiscoveryResponder::Send(const Group& group, const std::string& message, const sockaddr* to, int length)
{
    if (sendto(group.socket, message.data(), static_cast<int>(message.size()), 0, to, length) < 0) {
        m_log.Line(LastError("wsd send on " + group.name + " failed"));
        return false;
    }
    return true;
}

}  // namespace devsim
