// One HTTP/1.x request as it came off the wire.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace devsim {

class HttpRequest {
public:
    enum class Result { Incomplete, Complete, Bad };

    // Parses the request at the start of `buffer`: the head up to the empty
    // line and a body of Content-Length bytes. On Complete, *consumed is
    // the request's length in the buffer.
    static Result Parse(const std::string& buffer, HttpRequest* out, size_t* consumed);

    // The value of a header, by name in any case; empty when absent.
    std::string Header(const std::string& name) const;
    // HTTP/1.1 keeps the connection unless "Connection: close"; HTTP/1.0
    // only with "Connection: keep-alive".
    bool KeepAlive() const;

    std::string method;
    std::string target;
    std::string version;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
};

}  // namespace devsim
