#include "devsim/DiscoveryRequest.h"

#include <algorithm>
#include <sstream>

#include "devsim/DiscoveryNamespaces.h"

namespace devsim {

namespace {

// The namespace a prefix stands for in the message ("" for the default
// one), or "" when it is not declared.
std::string NamespaceOf(const std::string& message, const std::string& prefix)
{
    const std::string attribute = prefix.empty() ? "xmlns=" : "xmlns:" + prefix + "=";
    for (size_t at = message.find(attribute); at != std::string::npos; at = message.find(attribute, at + 1)) {
        const size_t quote = at + attribute.size();
        if (quote >= message.size() || (message[quote] != '"' && message[quote] != '\'')) {
            continue;
        }
        const size_t end = message.find(message[quote], quote + 1);
        if (end != std::string::npos) {
            return message.substr(quote + 1, end - quote - 1);
        }
    }
    return std::string();
}

// The position just behind the start tag of the first element named
// `local` in namespace `ns` at or after `from`, or npos; *empty tells a
// tag that closes itself.
size_t FindElement(const std::string& message, const std::string& ns, const std::string& local, size_t from,
                   bool* empty)
{
    for (size_t open = message.find('<', from); open != std::string::npos; open = message.find('<', open + 1)) {
        if (open + 1 >= message.size() || message[open + 1] == '/' || message[open + 1] == '?'
            || message[open + 1] == '!') {
            continue;
        }
        const size_t nameEnd = message.find_first_of(" \t\r\n/>", open + 1);
        if (nameEnd == std::string::npos) {
            return std::string::npos;
        }
        const std::string name = message.substr(open + 1, nameEnd - open - 1);
        const size_t colon = name.find(':');
        const std::string prefix = colon == std::string::npos ? std::string() : name.substr(0, colon);
        const std::string nameLocal = colon == std::string::npos ? name : name.substr(colon + 1);
        if (nameLocal != local || NamespaceOf(message, prefix) != ns) {
            continue;
        }
        const size_t close = message.find('>', nameEnd);
        if (close == std::string::npos) {
            return std::string::npos;
        }
        *empty = message[close - 1] == '/';
        return close + 1;
    }
    return std::string::npos;
}

std::string Unescape(const std::string& text)
{
    static const std::pair<const char*, char> kEntities[] = {
        {"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}};
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        bool replaced = false;
        for (const auto& entity : kEntities) {
            if (text.compare(i, std::char_traits<char>::length(entity.first), entity.first) == 0) {
                out += entity.second;
                i += std::char_traits<char>::length(entity.first) - 1;
                replaced = true;
                break;
            }
        }
        if (!replaced) {
            out += text[i];
        }
    }
    return out;
}

// The text of the first such element at or after `from`, blanks around it
// cut; *found tells whether the element is there at all.
std::string ElementText(const std::string& message, const std::string& ns, const std::string& local, size_t from,
                        bool* found)
{
    bool empty = false;
    const size_t start = FindElement(message, ns, local, from, &empty);
    *found = start != std::string::npos;
    if (!*found || empty) {
        return std::string();
    }
    const size_t end = message.find('<', start);
    std::string text = message.substr(start, end == std::string::npos ? std::string::npos : end - start);
    const size_t first = text.find_first_not_of(" \t\r\n");
    const size_t last = text.find_last_not_of(" \t\r\n");
    return first == std::string::npos ? std::string() : Unescape(text.substr(first, last - first + 1));
}

}  // namespace

DiscoveryRequest DiscoveryRequest::Read(const std::string& message)
{
    DiscoveryRequest request;
    bool found = false;
    request.messageId = ElementText(message, kAddressingNamespace, "MessageID", 0, &found);
    bool empty = false;
    const size_t probe = FindElement(message, kDiscoveryNamespace, "Probe", 0, &empty);
    const size_t resolve = FindElement(message, kDiscoveryNamespace, "Resolve", 0, &empty);
    if (probe != std::string::npos) {
        request.kind = Kind::Probe;
        // The Types of a Probe that closes itself would be another element's.
        const std::string types = empty ? std::string()
                                        : ElementText(message, kDiscoveryNamespace, "Types", probe, &found);
        std::istringstream names(types);
        for (std::string name; names >> name;) {
            const size_t colon = name.find(':');
            const std::string prefix = colon == std::string::npos ? std::string() : name.substr(0, colon);
            const std::string ns = NamespaceOf(message, prefix);
            request.unresolvedType = request.unresolvedType || ns.empty();
            request.types.emplace_back(ns, colon == std::string::npos ? name : name.substr(colon + 1));
        }
    } else if (resolve != std::string::npos) {
        request.kind = Kind::Resolve;
        request.endpoint = ElementText(message, kAddressingNamespace, "Address", resolve, &found);
    }
    return request;
}

bool DiscoveryRequest::Matches(const std::vector<QName>& deviceTypes) const
{
    if (unresolvedType) {
        return false;
    }
    return std::all_of(types.begin(), types.end(), [&](const QName& type) {
        return std::find(deviceTypes.begin(), deviceTypes.end(), type) != deviceTypes.end();
    });
}

}  // namespace devsim
