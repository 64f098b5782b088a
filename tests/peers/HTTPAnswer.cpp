#include "peers/HTTPAnswer.h"

#include <chrono>
#include <cstdlib>

namespace peers {

namespace {

// The length of a whole request at the start of `bytes`, or 0 while it is
// incomplete.
size_t RequestLength(const std::string& bytes)
{
    const size_t headerEnd = bytes.find("\r\n\r\n");
    if (headerEnd == std::string::npos) {
        return 0;
    }
    size_t bodyLength = 0;
    const size_t field = bytes.find("\r\nContent-Length: ");
    if (field != std::string::npos && field < headerEnd) {
        bodyLength = std::strtoul(bytes.c_str() + field + 18, nullptr, 10);
    }
    const size_t total = headerEnd + 4 + bodyLength;
    return bytes.size() >= total ? total : 0;
}

}  // namespace

LoopbackPeer::Session HTTPAnswer::Session()
{
    return [this](PeerSocket& s) {
        std::string bytes;
        char buffer[4096];
        int n;
        while ((n = s.Receive(buffer, sizeof(buffer))) > 0) {
            bytes.append(buffer, n);
            size_t length;
            while ((length = RequestLength(bytes)) != 0) {
                {
                    std::lock_guard<std::mutex> guard(m_lock);
                    m_requests.push_back(bytes.substr(0, length));
                    m_changed.notify_all();
                }
                bytes.erase(0, length);
                if (!s.Send(m_answer)) {
                    return;
                }
                if (m_closeAfterAnswer) {
                    shutdown(s.socket, SD_SEND);
                }
            }
        }
    };
}

std::vector<std::string> HTTPAnswer::Requests()
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_requests;
}

bool HTTPAnswer::WaitRequests(size_t count, unsigned ms)
{
    std::unique_lock<std::mutex> guard(m_lock);
    return m_changed.wait_for(guard, std::chrono::milliseconds(ms), [&] { return m_requests.size() >= count; });
}

}  // namespace peers
