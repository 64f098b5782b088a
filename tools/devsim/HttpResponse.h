// An HTTP/1.1 response: status, headers, and a body sent with a
// Content-Length or in chunks.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace devsim {

class HttpResponse {
public:
    HttpResponse(int status, std::string reason);

    void SetHeader(const std::string& name, const std::string& value);
    void SetBody(const std::string& contentType, const std::string& body);
    // The body in these chunks, with "Transfer-Encoding: chunked".
    void SetChunkedBody(const std::string& contentType, std::vector<std::string> chunks);

    // The bytes on the wire: no body for HEAD; a chunked body goes with a
    // Content-Length instead to an HTTP/1.0 client.
    std::string Serialize(bool headOnly, bool keepAlive, bool http10) const;
    int Status() const { return m_status; }

private:
    int m_status;
    std::string m_reason;
    std::vector<std::pair<std::string, std::string>> m_headers;
    std::vector<std::string> m_chunks;
    bool m_chunked = false;
};

}  // namespace devsim
