#include "devsim/HttpSession.h"

namespace devsim {

namespace {

const int kBufferSize = 16 * 1024;

}  // namespace

HttpSession::HttpSession(SOCKET socket, std::string peer, EventLog& log, WebSite& site)
    : Connection(socket, std::move(peer), log), m_site(site)
{
}

void HttpSession::OnReadable(ULONGLONG)
{
    char buffer[kBufferSize];
    for (;;) {
        const int received = Receive(buffer, kBufferSize);
        if (received == kWouldBlock) {
            Answer();
            return;
        }
        if (received == kFailed) {
            Abort();
            return;
        }
        if (received == 0) {
            Answer();
            CloseAfterSending();
            return;
        }
        m_input.append(buffer, static_cast<size_t>(received));
    }
}

void HttpSession::Answer()
{
    while (!Done()) {
        HttpRequest request;
        size_t consumed = 0;
        const HttpRequest::Result result = HttpRequest::Parse(m_input, &request, &consumed);
        if (result == HttpRequest::Result::Incomplete) {
            return;
        }
        if (result == HttpRequest::Result::Bad) {
            m_log.Line("http bad request from " + m_peer + ": 400");
            HttpResponse response(400, "Bad Request");
            response.SetBody("text/plain", "bad request\r\n");
            Queue(response.Serialize(false, false, false));
            m_input.clear();
            CloseAfterSending();
            return;
        }
        m_input.erase(0, consumed);
        const HttpResponse response = m_site.Respond(request);
        const bool keepAlive = request.KeepAlive();
        m_log.Line("http " + request.method + " " + request.target + " from " + m_peer + ": "
                   + std::to_string(response.Status())
                   + (request.body.empty() ? "" : " (" + std::to_string(request.body.size()) + " bytes of body)"));
        Queue(response.Serialize(request.method == "HEAD", keepAlive, request.version == "HTTP/1.0"));
        if (!keepAlive) {
            m_input.clear();
            CloseAfterSending();
            return;
        }
    }
}

}  // namespace devsim
