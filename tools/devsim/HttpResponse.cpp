#include "devsim/HttpResponse.h"

#include <cstdio>

namespace devsim {

HttpResponse::HttpResponse(int status, std::string reason) : m_status(status), m_reason(std::move(reason)) {}

void HttpResponse::SetHeader(const std::string& name, const std::string& value)
{
    m_headers.emplace_back(name, value);
}

void HttpResponse::SetBody(const std::string& contentType, const std::string& body)
{
    SetHeader("Content-Type", contentType);
    m_chunks = {body};
    m_chunked = false;
}

void HttpResponse::SetChunkedBody(const std::string& contentType, std::vector<std::string> chunks)
{
    SetHeader("Content-Type", contentType);
    m_chunks = std::move(chunks);
    m_chunked = true;
}

std::string HttpResponse::Serialize(bool headOnly, bool keepAlive, bool http10) const
{
    std::string body;
    for (const std::string& chunk : m_chunks) {
        body += chunk;
    }
    const bool chunked = m_chunked && !http10;
    std::string text = "HTTP/1.1 " + std::to_string(m_status) + " " + m_reason + "\r\n";
    text += "Server: orvane-devsim\r\n";
    for (const auto& header : m_headers) {
        text += header.first + ": " + header.second + "\r\n";
    }
    text += chunked ? "Transfer-Encoding: chunked\r\n" : "Content-Length: " + std::to_string(body.size()) + "\r\n";
    text += keepAlive ? "Connection: keep-alive\r\n\r\n" : "Connection: close\r\n\r\n";
    if (headOnly) {
        return text;
    }
    if (!chunked) {
        return text + body;
    }
    for (const std::string& chunk : m_chunks) {
        char size[16];
        std::snprintf(size, sizeof(size), "%zx\r\n", chunk.size());
        text += size + chunk + "\r\n";
    }
    return text + "0\r\n\r\n";
}

}  // namespace devsim
