#include "devsim/DigestAuth.h"

#include <windows.h>
#include <wincrypt.h>

#include <cctype>

#include "devsim/Md5.h"

namespace devsim {

namespace {

const size_t kNonceLimit = 1000;

std::string Lower(std::string text)
{
    for (char& c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

std::string RandomHex()
{
    BYTE random[16] = {};
    HCRYPTPROV provider = 0;
    if (CryptAcquireContextW(&provider, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT)) {
        CryptGenRandom(provider, sizeof(random), random);
        CryptReleaseContext(provider, 0);
    }
    static unsigned long counter = 0;
    return Md5::Hex(std::string(reinterpret_cast<char*>(random), sizeof(random)) + std::to_string(++counter)
                    + std::to_string(GetTickCount64()));
}

}  // namespace

DigestAuth::DigestAuth(std::string realm, std::string user, std::string password)
    : m_realm(std::move(realm)), m_user(std::move(user)), m_password(std::move(password))
{
}

std::string DigestAuth::Challenge()
{
    if (m_nonces.size() >= kNonceLimit) {
        m_nonces.clear();
    }
    const std::string nonce = RandomHex();
    m_nonces.insert(nonce);
    return "Digest realm=\"" + m_realm + "\", qop=\"auth\", nonce=\"" + nonce + "\", algorithm=MD5";
}

std::string DigestAuth::Response(const std::string& user, const std::string& realm, const std::string& password,
                                 const std::string& method, const std::string& uri, const std::string& nonce,
                                 const std::string& nc, const std::string& cnonce, const std::string& qop)
{
    const std::string ha1 = Md5::Hex(user + ":" + realm + ":" + password);
    const std::string ha2 = Md5::Hex(method + ":" + uri);
    return Md5::Hex(ha1 + ":" + nonce + ":" + nc + ":" + cnonce + ":" + qop + ":" + ha2);
}

std::map<std::string, std::string> DigestAuth::Parameters(const std::string& authorization)
{
    std::map<std::string, std::string> parameters;
    if (authorization.size() < 7 || Lower(authorization.substr(0, 7)) != "digest ") {
        return parameters;
    }
    size_t i = 7;
    while (i < authorization.size()) {
        while (i < authorization.size() && (authorization[i] == ' ' || authorization[i] == ',')) {
            ++i;
        }
        const size_t equals = authorization.find('=', i);
        if (equals == std::string::npos) {
            break;
        }
        const std::string name = Lower(authorization.substr(i, equals - i));
        std::string value;
        i = equals + 1;
        if (i < authorization.size() && authorization[i] == '"') {
            for (++i; i < authorization.size() && authorization[i] != '"'; ++i) {
                if (authorization[i] == '\\' && i + 1 < authorization.size()) {
                    ++i;
                }
                value += authorization[i];
            }
            ++i;
        } else {
            const size_t end = authorization.find(',', i);
            value = authorization.substr(i, end == std::string::npos ? std::string::npos : end - i);
            value.erase(value.find_last_not_of(' ') + 1);
            i = end == std::string::npos ? authorization.size() : end;
        }
        parameters[name] = value;
    }
    return parameters;
}

bool DigestAuth::Verify(const std::string& method, const std::string& target, const std::string& authorization) const
{
    auto parameters = Parameters(authorization);
    const std::string algorithm = Lower(parameters["algorithm"]);
    if (parameters["username"] != m_user || parameters["realm"] != m_realm
        || m_nonces.count(parameters["nonce"]) == 0 || parameters["uri"] != target || parameters["qop"] != "auth"
        || parameters["nc"].empty() || parameters["cnonce"].empty() || (!algorithm.empty() && algorithm != "md5")) {
        return false;
    }
    return parameters["response"]
           == Response(m_user, m_realm, m_password, method, parameters["uri"], parameters["nonce"], parameters["nc"],
                       parameters["cnonce"], "auth");
}

}  // namespace devsim
