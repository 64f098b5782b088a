#pragma once

#include <winsock2.h>

#include <string>

#include "WSDH.h"
#include "discovery/CMessageIdCache.h"

namespace QVDiscovery {

// One gSOAP context on one socket, for one search on one local address, used
// by one thread. A listening session binds and joins a group; a requesting
// one sends a Probe or a Resolve and reads the replies on the same socket.
// After each firing of the read event: ReceiveBegin, then one or two of the
// Receive operations, then ReceiveEnd. What the Receive operations fill is
// gSOAP's memory, valid until ReceiveEnd.
class CWSDSession {
public:
    CWSDSession();
    virtual ~CWSDSession();
    CWSDSession(const CWSDSession&) = delete;
    CWSDSession& operator=(const CWSDSession&) = delete;

    // Set while a datagram (or the reply of a directed Probe) is waiting;
    // reset it before each read. Null without a socket or on failure.
    HANDLE GetReadEvent();
    bool Bind(const char* localAddress);
    bool AddMembership(const char* localAddress, const char* groupAddress);
    // With SO_BROADCAST in connectFlags a datagram to the group or address,
    // otherwise a directed Probe over HTTP. A null type list searches for
    // the family's devices.
    bool SendProbe(const char* localAddress, const char* targetAddress, const char* types,
                   int connectFlags);
    bool SendResolve(const char* localAddress, const char* groupAddress, const char* deviceId);

    bool ReceiveBegin();
    void ReceiveEnd();
    bool ReceiveHello(struct wsd__HelloZQType* hello);
    bool ReceiveBye(struct wsd__ByeZQType* bye);
    bool ReceiveProbeMatches(struct wsd__ProbeMatchesZQType* matches);
    bool ReceiveResolveMatches(struct wsd__ResolveMatchesZQType* matches);

    // The identifier of the last Probe or Resolve, which replies relate to.
    const std::string& MessageId() const { return m_messageId; }

private:
    template <typename Body>
    bool Write(const Body& body, const char* tag,
               int (*out)(struct soap*, const char*, int, const Body*, const char*));
    bool RelatesToRequest();
    bool EndMessage();

    struct soap m_soap;
    HANDLE m_hReadEvent = nullptr;
    std::string m_messageId;
    CMessageIdCache m_cache;
};

}  // namespace QVDiscovery
