// The simulator's web pages: status, chunked, Basic and Digest protected,
// redirect, the list of jobs, an echo of the request, the management objects,
// and the directed WS-Discovery Probe when the simulator is discoverable.
#pragma once

#include <string>

#include "devsim/DigestAuth.h"
#include "devsim/DiscoveryMessages.h"
#include "devsim/HttpRequest.h"
#include "devsim/HttpResponse.h"
#include "devsim/JobStore.h"
#include "devsim/ManagementTree.h"

namespace devsim {

class WebSite {
public:
    static const char kRealm[];

    WebSite(const JobStore& jobs, std::string user, std::string password);

    HttpResponse Respond(const HttpRequest& request);
    // From now on a POST to the directed discovery path is a Probe that
    // these messages answer.
    void EnableDiscovery(DiscoveryMessages& messages) { m_discovery = &messages; }

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
    HttpResponse DirectedProbe(const HttpRequest& request);
    static HttpResponse Page(int status, const std::string& reason, const std::string& text);

    const JobStore& m_jobs;
    const std::string m_user;
    const std::string m_password;
    DigestAuth m_digest;
    DiscoveryMessages* m_discovery = nullptr;
    ManagementTree m_mib;
};

}  // namespace devsim
