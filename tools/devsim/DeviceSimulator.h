// The virtual printer: a raw job port and a web server on one select loop,
// which wakes every 50 ms to see whether it has to stop.
#pragma once

#include <memory>
#include <vector>

#include "devsim/Connection.h"
#include "devsim/DevsimOptions.h"
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
    void AcceptAll(ULONGLONG now);
    void Drive(const fd_set& readable, const fd_set& writable, ULONGLONG now);

    const DevsimOptions& m_options;
    EventLog& m_log;
    JobStore m_jobs;
    WebSite m_site;
    Listener m_jobListener;
    Listener m_httpListener;
    std::vector<std::unique_ptr<Connection>> m_connections;
};

}  // namespace devsim
