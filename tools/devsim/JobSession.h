// A connection to the raw job port. Bytes go to the current job; the job
// ends after the idle time without bytes or when the host shuts its side
// down, and the answer "JOB <n> RECEIVED <bytes> BYTES\r\n" follows. A host
// that sends nothing for the idle time gets "STATUS READY JOBS <n>\r\n" once.
#pragma once

#include <memory>

#include "devsim/Connection.h"
#include "devsim/JobStore.h"

namespace devsim {

class JobSession : public Connection {
public:
    JobSession(SOCKET socket, std::string peer, EventLog& log, JobStore& store, unsigned long idleMs,
               ULONGLONG now);
    ~JobSession() override;

    void OnReadable(ULONGLONG now) override;
    void OnTick(ULONGLONG now) override;

private:
    void CompleteJob(bool answer);
    void Answer(const std::string& line);

    JobStore& m_store;
    const unsigned long m_idleMs;
    ULONGLONG m_lastActivity;
    std::unique_ptr<JobFile> m_job;
    bool m_spoken = false;
};

}  // namespace devsim
