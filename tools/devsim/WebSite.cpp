#include "devsim/WebSite.h"

#include "devsim/Base64.h"
#include "devsim/DiscoveryNamespaces.h"

namespace devsim {

const char WebSite::kRealm[] = "Orvane devsim";

WebSite::WebSite(const JobStore& jobs, std::string user, std::string password)
    : m_jobs(jobs), m_user(std::move(user)), m_password(std::move(password)), m_digest(kRealm, m_user, m_password),
      // Every job counts as one page.
      m_mib([this] { return static_cast<long>(m_jobs.Jobs().size()); })
{
}

HttpResponse WebSite::Page(int status, const std::string& reason, const std::string& text)
{
    HttpResponse response(status, reason);
    response.SetBody("text/html", "<html><body><p>" + text + "</p></body></html>\n");
    return response;
}

HttpResponse WebSite::Respond(const HttpRequest& request)
{
    const std::string path = request.target.substr(0, request.target.find('?'));
    if (path == "/echo") {
        return EchoPage(request);
    }
    if (request.method != "GET" && request.method != "HEAD" && request.method != "POST") {
        HttpResponse response = Page(405, "Method Not Allowed", "Method not allowed.");
        response.SetHeader("Allow", "GET, HEAD, POST");
        return response;
    }
    if (m_discovery != nullptr && path == kDirectedPath && request.method == "POST") {
        return DirectedProbe(request);
    }
    if (path == "/mib") {
        return m_mib.Respond(request);
    }
    if (path == "/" || path == "/status") {
        return StatusPage();
    }
    if (path == "/chunked") {
        return ChunkedPage();
    }
    if (path == "/basic") {
        return BasicPage(request);
    }
    if (path == "/digest") {
        return DigestPage(request);
    }
    if (path == "/redirect") {
        return Redirect(request);
    }
    if (path == "/jobs") {
        return JobsPage();
    }
    return Page(404, "Not Found", "Not found.");
}

HttpResponse WebSite::StatusPage() const
{
    HttpResponse response(200, "OK");
    response.SetBody("text/html", "<html><head><title>Orvane devsim</title></head><body>"
                                  "<h1>Orvane virtual printer</h1><p>Status: READY</p><p>Jobs received: "
                                      + std::to_string(m_jobs.Jobs().size()) + "</p></body></html>\n");
    return response;
}

HttpResponse WebSite::DirectedProbe(const HttpRequest& request)
{
    const DiscoveryRequest probe = DiscoveryRequest::Read(request.body);
    if (probe.kind != DiscoveryRequest::Kind::Probe) {
        return Page(400, "Bad Request", "Not a Probe.");
    }
    // A Probe for other types gets no match, and nothing in the body.
    if (!probe.Matches(m_discovery->Types())) {
        return HttpResponse(202, "Accepted");
    }
    HttpResponse response(200, "OK");
    response.SetBody("application/soap+xml; charset=utf-8", m_discovery->ProbeMatches(probe.messageId));
    return response;
}

HttpResponse WebSite::ChunkedPage() const
{
    HttpResponse response(200, "OK");
    response.SetChunkedBody("text/html", {"<html><body>\n", "<p>This page comes in chunks.</p>\n",
                                          "</body></html>\n"});
    return response;
}

HttpResponse WebSite::BasicPage(const HttpRequest& request) const
{
    const std::string authorization = request.Header("Authorization");
    std::string credentials;
    if (authorization.compare(0, 6, "Basic ") == 0 && Base64::Decode(authorization.substr(6), &credentials)
        && credentials == m_user + ":" + m_password) {
        return Page(200, "OK", "Basic authentication accepted.");
    }
    HttpResponse response = Page(401, "Unauthorized", "Authentication required.");
    response.SetHeader("WWW-Authenticate", std::string("Basic realm=\"") + kRealm + "\"");
    return response;
}

HttpResponse WebSite::DigestPage(const HttpRequest& request)
{
    if (m_digest.Verify(request.method, request.target, request.Header("Authorization"))) {
        return Page(200, "OK", "Digest authentication accepted.");
    }
    HttpResponse response = Page(401, "Unauthorized", "Authentication required.");
    response.SetHeader("WWW-Authenticate", m_digest.Challenge());
    return response;
}

HttpResponse WebSite::Redirect(const HttpRequest& request) const
{
    const std::string host = request.Header("Host");
    HttpResponse response = Page(302, "Found", "Moved to /status.");
    response.SetHeader("Location", host.empty() ? "/status" : "http://" + host + "/status");
    return response;
}

HttpResponse WebSite::EchoPage(const HttpRequest& request)
{
    std::string text = request.method + " " + request.target + " " + request.version + "\r\n";
    for (const auto& header : request.headers) {
        text += header.first + ": " + header.second + "\r\n";
    }
    HttpResponse response(200, "OK");
    response.SetBody("text/plain", text + "\r\n" + request.body);
    return response;
}

HttpResponse WebSite::JobsPage() const
{
    std::string text = "jobs: " + std::to_string(m_jobs.Jobs().size()) + "\r\n";
    for (const JobStore::StoredJob& job : m_jobs.Jobs()) {
        text += "job " + std::to_string(job.number) + ": " + job.name + " " + std::to_string(job.bytes) + " bytes\r\n";
    }
    HttpResponse response(200, "OK");
    response.SetBody("text/plain", text);
    return response;
}

}  // namespace devsim
