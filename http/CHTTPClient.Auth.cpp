// The HTTP client's authentication and redirection: the Authorization
// header (Basic and Digest), reading a challenge into the parameters, and
// following a redirect on a connection of its own.
#include "http/CHTTPClient.h"

#include <cwchar>
#include <cwctype>

#include "http/CCodePage1252.h"
#include "http/CHTTPNavigateParams.h"
#include "http/HTTPStatus.h"
#include "iostack/CIONetwork.h"
#include "logging/LogTrace.h"
#include "utils/CBase64.h"
#include "utils/MD5.h"

QV_LOG_SOURCE_FILE()

using QVUtils::CProgressAggregator;
using QVUtils::IProgress;

namespace QVIOStack {

namespace {

constexpr unsigned long kStatusMovedPermanently = 301;
constexpr unsigned long kStatusFound = 302;
constexpr unsigned long kStatusTemporaryRedirect = 307;
constexpr unsigned long kAuthNone = 0;
constexpr unsigned long kAuthBasic = 1;
constexpr unsigned long kAuthDigest = 2;
constexpr unsigned long kAuthDigestQop = 3;
constexpr unsigned long kAuthDigestQopIntegrity = 4;

std::wstring Text(const wchar_t* text)
{
    return text ? text : L"";
}

}  // namespace

void CHTTPClient::AddAuthorization(QVLogging::CLogFunction& logScope)
{
    const unsigned long scheme = m_pNavigateParams->GetAuthScheme();
    std::wstring value;
    switch (scheme) {
    case kAuthNone:
        return;
    case kAuthBasic: {
        const std::wstring credentials = Text(m_pNavigateParams->GetUserName()) + L":"
            + Text(m_pNavigateParams->GetPassword());
        const QVCrypt::CBase64<wchar_t> encoded(credentials.c_str());
        value = std::wstring(L"Basic ") + encoded.GetEncoded();
        break;
    }
    case kAuthDigest:
    case kAuthDigestQop:
    case kAuthDigestQopIntegrity:
        value = DigestAuthorization(scheme);
        break;
    default:
        // No header can be made; marking the attempt as made keeps a 401
        // from being retried for ever.
        QV_LOG_ERROR(L"%s unknown authentication scheme %u, no Authorization header", logScope.GetDisplayName(),
                     static_cast<unsigned int>(scheme));
        m_pNavigateParams->SetTriedAuthenticating(true);
        return;
    }
    m_pNavigateParams->AddExtraHeader(L"Authorization", value.c_str());
    m_pNavigateParams->SetTriedAuthenticating(true);
}

std::wstring CHTTPClient::DigestAuthorization(unsigned long scheme)
{
    IHTTPNavigateParams& params = *m_pNavigateParams;
    const std::wstring qop = scheme == kAuthDigestQop ? L"auth" : scheme == kAuthDigestQopIntegrity ? L"auth-int" : L"";
    const std::wstring user = Text(params.GetUserName());
    const std::wstring realm = Text(params.GetRealm());
    const std::wstring nonce = Text(params.GetNonce());
    // The URI as the caller gave it, without the client's root.
    const std::wstring uri = Text(params.GetURI());
    std::wstring method;
    params.GetHTTPMethodText(method);
    method.erase(std::remove(method.begin(), method.end(), L' '), method.end());

    std::wstring value = L"Digest username=\"" + user + L"\", realm=\"" + realm + L"\", nonce=\"" + nonce
        + L"\", uri=\"" + uri + L"\", algorithm=MD5";
    std::wstring nc;
    std::wstring cnonce;
    if (!qop.empty()) {
        nc = Text(params.IncrNonceCount());
        cnonce = Text(params.GetCNonce());
        value += L", qop=" + qop + L", nc=" + nc + L", cnonce=\"" + cnonce + L"\"";
    }
    // auth-int is announced but computed as auth: the body is not hashed.
    const QVUtils::MD5 response(nonce.c_str(), cnonce.c_str(), user.c_str(), realm.c_str(),
                                Text(params.GetPassword()).c_str(), qop.c_str(), uri.c_str(), method.c_str(),
                                nc.c_str());
    value += L", response=\"" + response.GetDigest() + L"\", opaque=\"" + Text(params.GetOpaque()) + L"\"";
    return value;
}

void CHTTPClient::SetupAuthentication()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::SetupAuthentication");
    const wchar_t* header = GetHeaderEntry(L"WWW-Authenticate");
    if (header == nullptr || m_pNavigateParams == nullptr) {
        return;
    }
    const std::wstring text(header);
    const size_t blank = text.find(L' ');
    if (blank == std::wstring::npos) {
        return;
    }
    const std::wstring scheme = text.substr(0, blank);
    if (HeaderNameLess::Equal(scheme, L"Basic")) {
        m_pNavigateParams->SetAuthScheme(kAuthBasic);
        return;
    }
    if (!HeaderNameLess::Equal(scheme, L"Digest")) {
        return;
    }

    // name=value pairs cut at each comma, whether quoted or not: a quoted
    // list loses its tail to the next name, and no value holds a comma.
    std::map<std::wstring, std::wstring> parameters;
    size_t position = text.find_first_not_of(L' ', blank);
    while (position != std::wstring::npos) {
        const size_t equals = text.find(L'=', position);
        if (equals == std::wstring::npos) {
            break;
        }
        std::wstring name = text.substr(position, equals - position);
        const size_t comma = text.find(L',', equals);
        std::wstring value = text.substr(equals + 1, comma == std::wstring::npos ? std::wstring::npos
                                                                                 : comma - equals - 1);
        position = comma == std::wstring::npos ? comma : text.find_first_not_of(L' ', comma + 1);
        value.erase(std::remove(value.begin(), value.end(), L'"'), value.end());
        std::transform(name.begin(), name.end(), name.begin(),
                       [](wchar_t c) { return static_cast<wchar_t>(std::towlower(c)); });
        parameters[name] = value;
    }

    const std::wstring qop = parameters[L"qop"];
    if (qop == L"auth" || qop.find(L"auth,") != std::wstring::npos) {
        m_pNavigateParams->SetAuthScheme(kAuthDigestQop);
    } else if (qop.find(L"auth-int") != std::wstring::npos) {
        m_pNavigateParams->SetAuthScheme(kAuthDigestQopIntegrity);
    } else {
        m_pNavigateParams->SetAuthScheme(kAuthDigest);
    }
    m_pNavigateParams->SetRealm(parameters[L"realm"].c_str());
    m_pNavigateParams->SetNonce(parameters[L"nonce"].c_str());
    m_pNavigateParams->SetOpaque(parameters[L"opaque"].c_str());
}

unsigned long CHTTPClient::HandleRedirection(IProgress* progress)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::HandleRedirection");
    CProgressAggregator localProgress(progress, 1);
    if (m_ulStatusCode != kStatusMovedPermanently && m_ulStatusCode != kStatusFound
        && m_ulStatusCode != kStatusTemporaryRedirect) {
        return 0;
    }
    const wchar_t* locationEntry = GetHeaderEntry(L"Location");
    if (locationEntry == nullptr) {
        QV_LOG_ERROR(L"%s Error_NoLocation status %u without Location", logScope.GetDisplayName(),
                     static_cast<unsigned int>(m_ulStatusCode));
        return logScope.m_errorCode = Error_NoLocation;
    }
    IHTTPNavigateParams* params = m_pNavigateParams;
    if (params == nullptr) {
        return logScope.m_errorCode = Error_InvalidArgument;
    }
    const std::wstring location(locationEntry);
    const std::wstring uri = Text(params->GetURI());
    const size_t uriSlash = uri.find(L'/');
    const size_t slashes = location.find(L"//");
    if (uriSlash == std::wstring::npos || slashes == std::wstring::npos) {
        QV_LOG_ERROR(L"%s Error_BadLocation Location: %s, URI: %s", logScope.GetDisplayName(), location.c_str(),
                     uri.c_str());
        return logScope.m_errorCode = Error_BadLocation;
    }
    std::wstring schemeText = location.substr(0, slashes);
    std::transform(schemeText.begin(), schemeText.end(), schemeText.begin(),
                   [](wchar_t c) { return static_cast<wchar_t>(std::towlower(c)); });
    const bool secure = schemeText == L"https:";
    // Host and path; with no path the rest is both, and the path then gets
    // the old URI from its first "/" behind the host name.
    const std::wstring rest = location.substr(slashes + 2);
    const size_t pathStart = rest.find(L'/');
    const std::wstring host = rest.substr(0, pathStart);
    std::wstring path = pathStart == std::wstring::npos ? rest : rest.substr(pathStart);

    IDeviceConnection* redirected = CreateRedirectedNetworkConnection(secure, host.c_str());
    if (redirected == nullptr) {
        QV_LOG_ERROR(L"%s no connection to %s, the redirect is not followed", logScope.GetDisplayName(),
                     location.c_str());
        return 0;
    }
    IDeviceConnection* original = m_pIDeviceConnection;
    m_pIDeviceConnection = redirected;
    if (path.find(L'/') == std::wstring::npos) {
        path += uri.substr(uriSlash);
    }
    unsigned long status;
    try {
        params->SetURI(path.c_str());
        localProgress.Inhibit(true);
        status = Navigate(params, &localProgress);
        localProgress.Inhibit(false);
    } catch (...) {
        redirected->Dispose();
        m_pIDeviceConnection = original;
        throw;
    }
    redirected->Dispose();
    m_pIDeviceConnection = original;
    return logScope.m_errorCode = status;
}

IDeviceConnection* CHTTPClient::CreateRedirectedNetworkConnection(bool secure, const wchar_t* serviceAddress)
{
    QV_LOG_FUNCTION_PARAMS(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::CreateRedirectedNetworkConnection",
                           L"%s, %s", secure ? L"secure" : L"plain", serviceAddress ? serviceAddress : L"(null)");
    IDeviceConnection* connection = CreateIONetwork(secure);
    if (connection == nullptr) {
        QV_LOG_ERROR(L"%s no %s network connection can be made", logScope.GetDisplayName(),
                     secure ? L"secure" : L"plain");
        return nullptr;
    }
    const unsigned long status = connection->Initialize(serviceAddress);
    if (status != 0) {
        QV_LOG_ERROR(L"%s Initialize returned 0x%08X", logScope.GetDisplayName(), static_cast<unsigned int>(status));
        delete connection;
        return nullptr;
    }
    connection->AddRef();
    return connection;
}

}  // namespace QVIOStack
