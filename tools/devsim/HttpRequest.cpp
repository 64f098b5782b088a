#include "devsim/HttpRequest.h"

#include <cctype>

#include "common/ArgumentParser.h"
#include "common/Text.h"

namespace devsim {

namespace {

const size_t kMaxHead = 16 * 1024;
const unsigned long kMaxBody = 16 * 1024 * 1024;

bool SameText(const std::string& a, const std::string& b)
{
    if (a.size() != b.size()) {
        return false;
    }
    for (size_t i = 0; i < a.size(); ++i) {
        if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i]))) {
            return false;
        }
    }
    return true;
}

std::string Trimmed(const std::string& text)
{
    const size_t first = text.find_first_not_of(" \t");
    const size_t last = text.find_last_not_of(" \t");
    return first == std::string::npos ? std::string() : text.substr(first, last - first + 1);
}

}  // namespace

HttpRequest::Result HttpRequest::Parse(const std::string& buffer, HttpRequest* out, size_t* consumed)
{
    const size_t headEnd = buffer.find("\r\n\r\n");
    if (headEnd == std::string::npos) {
        return buffer.size() > kMaxHead ? Result::Bad : Result::Incomplete;
    }
    HttpRequest request;
    size_t lineStart = 0;
    size_t lineEnd = buffer.find("\r\n");
    const std::string requestLine = buffer.substr(0, lineEnd);
    const size_t space1 = requestLine.find(' ');
    const size_t space2 = requestLine.find(' ', space1 + 1);
    if (space1 == std::string::npos || space2 == std::string::npos) {
        return Result::Bad;
    }
    request.method = requestLine.substr(0, space1);
    request.target = requestLine.substr(space1 + 1, space2 - space1 - 1);
    request.version = requestLine.substr(space2 + 1);
    if (request.version != "HTTP/1.1" && request.version != "HTTP/1.0") {
        return Result::Bad;
    }
    while (lineEnd < headEnd) {
        lineStart = lineEnd + 2;
        lineEnd = buffer.find("\r\n", lineStart);
        const std::string line = buffer.substr(lineStart, lineEnd - lineStart);
        const size_t colon = line.find(':');
        if (colon == std::string::npos || colon == 0) {
            return Result::Bad;
        }
        request.headers.emplace_back(line.substr(0, colon), Trimmed(line.substr(colon + 1)));
    }
    if (!request.Header("Transfer-Encoding").empty()) {
        return Result::Bad;
    }
    unsigned long length = 0;
    const std::string lengthText = request.Header("Content-Length");
    if (!lengthText.empty() && !tools::ArgumentParser::ParseNumber(tools::Text::Wide(lengthText), 0, kMaxBody, &length)) {
        return Result::Bad;
    }
    const size_t bodyStart = headEnd + 4;
    if (buffer.size() - bodyStart < length) {
        return Result::Incomplete;
    }
    request.body = buffer.substr(bodyStart, length);
    *consumed = bodyStart + length;
    *out = std::move(request);
    return Result::Complete;
}

std::string HttpRequest::Header(const std::string& name) const
{
    for (const auto& header : headers) {
        if (SameText(header.first, name)) {
            return header.second;
        }
    }
    return std::string();
}

bool HttpRequest::KeepAlive() const
{
    const std::string connection = Header("Connection");
    return version == "HTTP/1.1" ? !SameText(connection, "close") : SameText(connection, "keep-alive");
}

}  // namespace devsim
