#include "devsim/JobSession.h"

namespace devsim {

namespace {

const int kBufferSize = 64 * 1024;

}  // namespace

JobSession::JobSession(SOCKET socket, std::string peer, EventLog& log, JobStore& store, unsigned long idleMs,
                       ULONGLONG now)
    : Connection(socket, std::move(peer), log), m_store(store), m_idleMs(idleMs), m_lastActivity(now)
{
    m_log.Line("job connection from " + m_peer);
}

JobSession::~JobSession()
{
    if (m_job) {
        CompleteJob(false);
    }
    m_log.Line("job connection from " + m_peer + " closed");
}

void JobSession::OnReadable(ULONGLONG now)
{
    char buffer[kBufferSize];
    for (;;) {
        const int received = Receive(buffer, kBufferSize);
        if (received == kWouldBlock) {
            return;
        }
        if (received == kFailed) {
            Abort();
            return;
        }
        if (received == 0) {
            if (m_job) {
                CompleteJob(true);
            }
            CloseAfterSending();
            return;
        }
        if (!m_job) {
            m_job = m_store.Begin();
        }
        m_job->Append(buffer, received);
        m_lastActivity = now;
    }
}

void JobSession::OnTick(ULONGLONG now)
{
    if (now - m_lastActivity < m_idleMs || Done()) {
        return;
    }
    if (m_job) {
        CompleteJob(true);
    } else if (!m_spoken) {
        Answer("STATUS READY JOBS " + std::to_string(m_store.Jobs().size()));
    }
    m_lastActivity = now;
}

void JobSession::CompleteJob(bool answer)
{
    std::unique_ptr<JobFile> job = std::move(m_job);
    m_store.Complete(*job);
    if (answer) {
        Answer("JOB " + std::to_string(job->Number()) + " RECEIVED " + std::to_string(job->Bytes()) + " BYTES");
    }
}

void JobSession::Answer(const std::string& line)
{
    m_log.Line("answer to " + m_peer + ": " + line);
    Queue(line + "\r\n");
    m_spoken = true;
}

}  // namespace devsim
