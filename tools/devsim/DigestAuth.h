// HTTP Digest authentication, MD5 with qop=auth: the server's challenges
// and the check of a client's Authorization header.
#pragma once

#include <map>
#include <set>
#include <string>

namespace devsim {

class DigestAuth {
public:
    DigestAuth(std::string realm, std::string user, std::string password);

    // A WWW-Authenticate value with a fresh nonce.
    std::string Challenge();
    // True when the header answers one of this object's nonces with the
    // right user, realm, uri, qop and response.
    bool Verify(const std::string& method, const std::string& target, const std::string& authorization) const;

    // MD5(MD5(user:realm:password):nonce:nc:cnonce:qop:MD5(method:uri)).
    static std::string Response(const std::string& user, const std::string& realm, const std::string& password,
                                const std::string& method, const std::string& uri, const std::string& nonce,
                                const std::string& nc, const std::string& cnonce, const std::string& qop);
    // The name=value and name="value" pairs after the scheme, names in
    // lower case; empty when the scheme is not Digest.
    static std::map<std::string, std::string> Parameters(const std::string& authorization);

private:
    const std::string m_realm;
    const std::string m_user;
    const std::string m_password;
    std::set<std::string> m_nonces;
};

}  // namespace devsim
