// The virtual printer: a raw job port and a web server on one select loop,
// which wakes every 50 ms to see whether it has to stop. When discoverable,
// the loop serves WS-Discovery too, and the web pages on port 80 of its
// addresses, where the directed Probe comes.
#pragma once

#include <memory>
#include <vector>

#include "devsim/Connection.h"
#include "devsim/DevsimOptions.h"
#include "devsim/DiscoveryMessages.h"
#include "devsim/DiscoveryResponder.h"
#include "devsim/EventLog.h"
#include "devsim/JobStore.h"
#include "devsim/Listener.h"
#include "devsim/StopSignal.h"
#include "devsim/WebSite.h"

namespace devsim {

class DeviceSimulator {
public:
    DeviceSimulator(const DevsimOptions& options, EventLog& log);

    // Opens the ports and the jobs folder; false, with the reason in *error.
    bool Start(std::string* error);
    // Serves until the stop signal says why to stop.
    void Run(const StopSignal& stop);

private:
    bool StartDiscovery(std::string* error);
    void AcceptAll(ULONGLONG now);
    void Drive(const fd_set& readable, const fd_set& writable, ULONGLONG now);

    const DevsimOptions& m_options;
    EventLog& m_log;
    JobStore m_jobs;
    WebSite m_site;
    Listener m_jobListener;
    Listener m_httpListener;
    std::unique_ptr<DiscoveryMessages> m_discovery;
    std::unique_ptr<DiscoveryResponder> m_responder;
    std::vector<std::unique_ptr<Listener>> m_directedListeners;
    std::vector<std::unique_ptr<Connection>> m_connections;
};

}  // namespace devsim
