#include "devsim/ManagementTree.h"

#include <cstdlib>

namespace devsim {

namespace {

const std::vector<unsigned long> kUpTime = {1, 3, 6, 1, 2, 1, 1, 3, 0};
const std::vector<unsigned long> kPageCount = {1, 3, 6, 1, 2, 1, 43, 10, 2, 1, 4, 1, 1};

HttpResponse Text(int status, const std::string& reason, const std::string& body)
{
    HttpResponse response(status, reason);
    response.SetBody("text/plain", body);
    return response;
}

// The value of a query parameter, "" when absent.
std::string Parameter(const std::string& target, const std::string& name)
{
    const size_t query = target.find('?');
    if (query == std::string::npos) {
        return "";
    }
    const std::string key = name + "=";
    size_t at = query + 1;
    while (at < target.size()) {
        const size_t end = target.find('&', at);
        const std::string pair = target.substr(at, end == std::string::npos ? std::string::npos : end - at);
        if (pair.compare(0, key.size(), key) == 0) {
            return pair.substr(key.size());
        }
        if (end == std::string::npos) {
            break;
        }
        at = end + 1;
    }
    return "";
}

}  // namespace

ManagementTree::ManagementTree(std::function<long()> pages) : m_pages(std::move(pages)), m_started(GetTickCount64())
{
    m_objects[{1, 3, 6, 1, 2, 1, 1, 1, 0}] = {true, false, "Orvane virtual printer"};
    m_objects[kUpTime] = {false, false, ""};
    m_objects[{1, 3, 6, 1, 2, 1, 1, 4, 0}] = {true, true, ""};
    m_objects[{1, 3, 6, 1, 2, 1, 1, 5, 0}] = {true, false, "orvane-devsim"};
    // hrPrinterStatus: 3, idle.
    m_objects[{1, 3, 6, 1, 2, 1, 25, 3, 5, 1, 1, 1}] = {false, false, "3"};
    m_objects[kPageCount] = {false, false, ""};
}

bool ManagementTree::ParseOid(const std::string& text, Oid* oid)
{
    oid->clear();
    size_t at = 0;
    while (at < text.size()) {
        char* end = nullptr;
        const unsigned long part = std::strtoul(text.c_str() + at, &end, 10);
        if (end == text.c_str() + at) {
            return false;
        }
        oid->push_back(part);
        at = static_cast<size_t>(end - text.c_str());
        if (at < text.size() && text[at++] != '.') {
            return false;
        }
    }
    return !oid->empty();
}

std::string ManagementTree::OidText(const Oid& oid)
{
    std::string text;
    for (unsigned long part : oid) {
        text += (text.empty() ? "" : ".") + std::to_string(part);
    }
    return text;
}

std::string ManagementTree::ValueOf(const Oid& oid, const Object& object) const
{
    if (oid == kUpTime) {
        // Hundredths of a second since the start.
        return std::to_string((GetTickCount64() - m_started) / 10);
    }
    if (oid == kPageCount) {
        return std::to_string(m_pages());
    }
    return object.value;
}

HttpResponse ManagementTree::Answer(const Oid& oid, const Object& object) const
{
    return Text(200, "OK", OidText(oid) + "\n" + (object.text ? "STRING" : "INTEGER") + "\n" + ValueOf(oid, object));
}

HttpResponse ManagementTree::Respond(const HttpRequest& request)
{
    const std::lock_guard<std::mutex> guard(m_lock);
    const std::string get = Parameter(request.target, "get");
    const std::string next = Parameter(request.target, "next");
    const std::string set = Parameter(request.target, "set");
    Oid oid;
    if (request.method == "POST" && ParseOid(set, &oid)) {
        return Set(oid, request.body);
    }
    if (request.method == "GET" && ParseOid(get, &oid)) {
        const auto found = m_objects.find(oid);
        return found == m_objects.end() ? Text(404, "Not Found", "no such object\n") : Answer(oid, found->second);
    }
    if (request.method == "GET" && ParseOid(next, &oid)) {
        const auto found = m_objects.upper_bound(oid);
        return found == m_objects.end() ? Text(404, "Not Found", "end of MIB\n") : Answer(found->first, found->second);
    }
    return Text(400, "Bad Request", "ask with get=OID, next=OID or POST set=OID\n");
}

HttpResponse ManagementTree::Set(const Oid& oid, const std::string& body)
{
    const auto found = m_objects.find(oid);
    if (found == m_objects.end()) {
        return Text(404, "Not Found", "no such object\n");
    }
    Object& object = found->second;
    if (!object.writable) {
        return Text(403, "Forbidden", "read-only object\n");
    }
    const size_t line = body.find('\n');
    const std::string type = body.substr(0, line);
    const std::string value = line == std::string::npos ? "" : body.substr(line + 1);
    if (type != (object.text ? "STRING" : "INTEGER") || value.size() > kMaxText) {
        return Text(400, "Bad Request", "wrong type or length\n");
    }
    object.value = value;
    return Answer(oid, object);
}

}  // namespace devsim
