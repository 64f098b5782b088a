#include "devsim/DeviceSimulator.h"

#include <algorithm>
#include <ctime>

#include "devsim/HttpSession.h"
#include "devsim/JobSession.h"

namespace devsim {

namespace {

const long kSliceMs = 50;
// select takes at most FD_SETSIZE sockets: two listeners, with discovery
// one more and one for each IPv6 address and the two group sockets, and
// the connections.
const size_t kMaxConnections = FD_SETSIZE - 5 - DevsimOptions::kMaxIPv6;
const unsigned short kDirectedPort = 80;

}  // namespace

DeviceSimulator::DeviceSimulator(const DevsimOptions& options, EventLog& log)
    : m_options(options), m_log(log), m_jobs(options.jobsFolder, log), m_site(m_jobs, options.user, options.password)
{
}

bool DeviceSimulator::Start(std::string* error)
{
    if (!m_jobs.Prepare(error) || !m_jobListener.Open(m_options.bind, m_options.jobPort, error)
        || !m_httpListener.Open(m_options.bind, m_options.httpPort, error)
        || (m_options.wsd && !StartDiscovery(error))) {
        return false;
    }
    // The web port's line last: a script that waits for it finds the
    // simulator ready.
    m_log.Line("job port listening on " + m_jobListener.Name());
    m_log.Line("http port listening on " + m_httpListener.Name());
    return true;
}

bool DeviceSimulator::StartDiscovery(std::string* error)
{
    std::vector<std::string> addresses = m_options.identity.ipv6;
    const bool ipv4 = m_options.bind.find(':') == std::string::npos;
    if (ipv4) {
        addresses.insert(addresses.begin(), m_options.bind);
    }
    for (const std::string& address : addresses) {
        m_directedListeners.push_back(std::make_unique<Listener>());
        if (!m_directedListeners.back()->Open(address, kDirectedPort, error)) {
            return false;
        }
        m_log.Line("discovery web port listening on " + m_directedListeners.back()->Name());
    }
    m_discovery = std::make_unique<DiscoveryMessages>(m_options.identity, static_cast<unsigned long>(std::time(nullptr)));
    m_site.EnableDiscovery(*m_discovery);
    m_responder = std::make_unique<DiscoveryResponder>(*m_discovery, m_log);
    return m_responder->Start(ipv4 ? m_options.bind : std::string(), error);
}

void DeviceSimulator::Run(const StopSignal& stop)
{
    const char* reason = nullptr;
    while ((reason = stop.Reason()) == nullptr) {
        fd_set readable;
        fd_set writable;
        FD_ZERO(&readable);
        FD_ZERO(&writable);
        FD_SET(m_jobListener.Socket(), &readable);
        FD_SET(m_httpListener.Socket(), &readable);
        for (const auto& listener : m_directedListeners) {
            FD_SET(listener->Socket(), &readable);
        }
        if (m_responder) {
            m_responder->AddSockets(&readable);
        }
        for (const auto& connection : m_connections) {
            FD_SET(connection->Socket(), &readable);
            if (connection->WantsWrite()) {
                FD_SET(connection->Socket(), &writable);
            }
        }
        timeval slice{0, kSliceMs * 1000};
        select(0, &readable, &writable, nullptr, &slice);
        const ULONGLONG now = GetTickCount64();
        AcceptAll(now);
        if (m_responder) {
            m_responder->OnReadable(readable);
        }
        Drive(readable, writable, now);
    }
    m_log.Line(std::string("stopping: ") + reason);
    if (m_responder) {
        m_responder->Stop();
    }
    m_connections.clear();
    m_log.Line("stopped");
}

void DeviceSimulator::AcceptAll(ULONGLONG now)
{
    std::string peer;
    for (SOCKET s; (s = m_jobListener.Accept(&peer)) != INVALID_SOCKET;) {
        m_connections.push_back(std::make_unique<JobSession>(s, peer, m_log, m_jobs, m_options.idleMs, now));
    }
    for (SOCKET s; (s = m_httpListener.Accept(&peer)) != INVALID_SOCKET;) {
        m_connections.push_back(std::make_unique<HttpSession>(s, peer, m_log, m_site));
    }
    for (const auto& listener : m_directedListeners) {
        for (SOCKET s; (s = listener->Accept(&peer)) != INVALID_SOCKET;) {
            m_connections.push_back(std::make_unique<HttpSession>(s, peer, m_log, m_site));
        }
    }
    while (m_connections.size() > kMaxConnections) {
        m_log.Line("too many connections: dropping the oldest");
        m_connections.erase(m_connections.begin());
    }
}

void DeviceSimulator::Drive(const fd_set& readable, const fd_set& writable, ULONGLONG now)
{
    for (const auto& connection : m_connections) {
        if (FD_ISSET(connection->Socket(), &writable)) {
            connection->OnWritable();
        }
        if (!connection->Done() && FD_ISSET(connection->Socket(), &readable)) {
            connection->OnReadable(now);
        }
        if (!connection->Done()) {
            connection->OnTick(now);
        }
    }
    m_connections.erase(std::remove_if(m_connections.begin(), m_connections.end(),
                                       [](const auto& connection) { return connection->Done(); }),
                        m_connections.end());
}

}  // namespace devsim
