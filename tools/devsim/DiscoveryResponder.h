// The simulator's WS-Discovery side on UDP port 3702: joins
// 239.255.255.250 on the interface of its IPv4 address and FF02::C on the
// interface of its first IPv6 address, says Hello when it starts and Bye
// when it stops, and answers the Probes it matches and the Resolves for
// its endpoint. The port is shared (SO_REUSEADDR), so that several
// simulators on one machine each hear the groups.
#pragma once

#include <winsock2.h>

#include <string>
#include <vector>

#include "devsim/DiscoveryMessages.h"
#include "devsim/EventLog.h"

namespace devsim {

class DiscoveryResponder {
public:
    DiscoveryResponder(DiscoveryMessages& messages, EventLog& log);
    ~DiscoveryResponder();
    DiscoveryResponder(const DiscoveryResponder&) = delete;
    DiscoveryResponder& operator=(const DiscoveryResponder&) = delete;

    // Opens the port on the interface of `ipv4` (none when empty) and of
    // the identity's first IPv6 address, then says Hello; false, with the
    // reason in *error.
    bool Start(const std::string& ipv4, std::string* error);
    void AddSockets(fd_set* readable) const;
    // Answers what waits on the sockets that are readable.
    void OnReadable(const fd_set& readable);
    // Says Bye.
    void Stop();

private:
    struct Group {
        SOCKET socket = INVALID_SOCKET;
        sockaddr_storage address{};
        int length = 0;
        std::string name;
    };

    bool OpenIPv4(const std::string& local, std::string* error);
    bool OpenIPv6(const std::string& local, std::string* error);
    void Announce(const char* what, const std::string& message);
    void Answer(const Group& group);
    // False, with a log line, when the datagram cannot go.
    bool Send(const Group& group, const std::string& message, const sockaddr* to, int length);

    DiscoveryMessages& m_messages;
    EventLog& m_log;
    std::vector<Group> m_groups;
};

}  // namespace devsim
