#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "peers/LoopbackPeer.h"

namespace peers {

// A web server of one fixed answer for a LoopbackPeer: reads each request
// whole (header, and a body as long as its Content-Length), keeps its bytes,
// and sends the answer. With closeAfterAnswer the connection is shut after
// each answer, which ends a body sent without a length.
class HTTPAnswer {
public:
    explicit HTTPAnswer(std::string answer, bool closeAfterAnswer = false)
        : m_answer(std::move(answer)), m_closeAfterAnswer(closeAfterAnswer)
    {
    }

    LoopbackPeer::Session Session();
    // The requests received so far, each as its bytes.
    std::vector<std::string> Requests();
    // Waits until `count` requests came; false after `ms`.
    bool WaitRequests(size_t count, unsigned ms = 5000);

private:
    const std::string m_answer;
    const bool m_closeAfterAnswer;
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<std::string> m_requests;
};

}  // namespace peers
