// The simulator's web pages: status, chunked, Basic and Digest protected,
// redirect, the list of jobs, and an echo of the request.
#pragma once

#include <string>

#include "devsim/DigestAuth.h"
#include "devsim/HttpRequest.h"
#include "devsim/HttpResponse.h"
#include "devsim/JobStore.h"

namespace devsim {

class WebSite {
public:
    static const char kRealm[];

    WebSite(const JobStore& jobs, std::string user, std::string password);

    HttpResponse Respond(const HttpRequest& request);

private:
    HttpResponse StatusPage() const;
    HttpResponse ChunkedPage() const;
    HttpResponse BasicPage(const HttpRequest& request) const;
    HttpResponse DigestPage(const HttpRequest& request);
    HttpResponse Redirect(const HttpRequest& request) const;
    HttpResponse JobsPage() const;
    // The request as it came, any method: request line, headers, an empty
    // line and the body, as text.
    static HttpResponse EchoPage(const HttpRequest& request);
    static HttpResponse Page(int status, const std::string& reason, const std::string& text);

    const JobStore& m_jobs;
    const std::string m_user;
    const std::string m_password;
    DigestAuth m_digest;
};

}  // namespace devsim
