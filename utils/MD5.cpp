#include "utils/MD5.h"

#include "logging/LogTrace.h"
#include "winapi/ICryptApi.h"
#include "winapi/IKernelApi.h"

QV_LOG_SOURCE_FILE()

namespace QVUtils {

namespace {

constexpr UINT kCodePage = 1252;
constexpr int kTextBufferSize = 1024;
constexpr DWORD kDigestSize = 16;

// A part of the digest in code page 1252; empty when it doesn't fit the
// buffer with its terminator.
std::string ToCodePage(const wchar_t* text)
{
    char buffer[kTextBufferSize];
    const int length = g_pKernelApi->WideCharToMultiByte(kCodePage, 0, text, -1, buffer, kTextBufferSize,
                                                         nullptr, nullptr);
    return length > 0 ? std::string(buffer, static_cast<size_t>(length - 1)) : std::string();
}

std::string ToNarrow(const std::wstring& digits)
{
    return std::string(digits.begin(), digits.end());
}

}  // namespace

MD5::MD5() = default;

MD5::MD5(const wchar_t* nonce, const wchar_t* cnonce, const wchar_t* user, const wchar_t* realm,
         const wchar_t* password, const wchar_t* qop, const wchar_t* uri, const wchar_t* method, const wchar_t* nc)
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::MD5::MD5");
    if (!nonce || !cnonce || !user || !realm || !password || !qop || !uri) {
        QV_LOG_ERROR(L"%s a part of the digest is null, no digest is made", logScope.GetDisplayName());
        return;
    }
    const std::string colon = ":";
    const std::string nonceText = ToCodePage(nonce);
    const std::string cnonceText = ToCodePage(cnonce);
    const std::string userText = ToCodePage(user);
    const std::string realmText = ToCodePage(realm);
    const std::string passwordText = ToCodePage(password);
    const std::string qopText = ToCodePage(qop);
    const std::string uriText = ToCodePage(uri);
    const std::string methodText = ToCodePage(method ? method : L"GET");
    const std::string ncText = ToCodePage(nc ? nc : L"00000001");

    if (!(Add(userText) && Add(colon) && Add(realmText) && Add(colon) && Add(passwordText) && Finish())) {
        return;
    }
    const std::string ha1 = ToNarrow(GetDigest());
    if (!(Add(methodText) && Add(colon) && Add(uriText) && Finish())) {
        return;
    }
    const std::string ha2 = ToNarrow(GetDigest());
    bool added = Add(ha1) && Add(colon) && Add(nonceText) && Add(colon);
    if (added && !qopText.empty()) {
        added = Add(ncText) && Add(colon) && Add(cnonceText) && Add(colon) && Add(qopText) && Add(colon);
    }
    if (added && Add(ha2)) {
        Finish();
    }
}

MD5::~MD5()
{
    Release();
}

bool MD5::Add(const void* data, unsigned long length)
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::MD5::Add");
    if (!m_bDataAdded) {
        m_bDataAdded = true;
        if (!Start()) {
            return false;
        }
    }
    // A hash whose provider failed takes nothing more, and its Finish fails.
    if (m_hHash == 0) {
        return false;
    }
    if (!g_pCryptApi->CryptHashData(m_hHash, static_cast<const BYTE*>(data), length, 0)) {
        logScope.m_errorCode = GetLastError();
        QV_LOG_ERROR(L"CryptHashData failed, last error = %d", static_cast<int>(logScope.m_errorCode));
        Release();
        return false;
    }
    return true;
}

bool MD5::Finish()
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::MD5::Finish");
    if (!m_bDataAdded && !Start()) {
        return false;
    }
    m_bDataAdded = false;
    if (m_hHash == 0) {
        return false;
    }
    DWORD size = kDigestSize;
    if (!g_pCryptApi->CryptGetHashParam(m_hHash, HP_HASHVAL, m_digest, &size, 0) || size != kDigestSize) {
        logScope.m_errorCode = GetLastError();
        QV_LOG_ERROR(L"CryptGetHashParam failed, last error = %d", static_cast<int>(logScope.m_errorCode));
        Release();
        return false;
    }
    Release();
    m_bFinished = true;
    return true;
}

std::wstring MD5::GetDigest() const
{
    static const wchar_t kDigits[] = L"0123456789abcdef";
    std::wstring text;
    if (m_bFinished) {
        for (BYTE b : m_digest) {
            text += kDigits[b >> 4];
            text += kDigits[b & 0xF];
        }
    }
    return text;
}

// A new hash on a provider context of its own; any digest kept is given up.
bool MD5::Start()
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::MD5::Start");
    m_bFinished = false;
    if (!g_pCryptApi->CryptAcquireContextW(&m_hProv, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT)) {
        m_hProv = 0;
        logScope.m_errorCode = GetLastError();
        QV_LOG_ERROR(L"CryptAcquireContext failed, last error = %d", static_cast<int>(logScope.m_errorCode));
        return false;
    }
    if (!g_pCryptApi->CryptCreateHash(m_hProv, CALG_MD5, 0, 0, &m_hHash)) {
        m_hHash = 0;
        logScope.m_errorCode = GetLastError();
        QV_LOG_ERROR(L"CryptCreateHash failed, last error = %d", static_cast<int>(logScope.m_errorCode));
        Release();
        return false;
    }
    return true;
}

void MD5::Release()
{
    if (m_hHash != 0) {
        g_pCryptApi->CryptDestroyHash(m_hHash);
        m_hHash = 0;
    }
    if (m_hProv != 0) {
        g_pCryptApi->CryptReleaseContext(m_hProv, 0);
        m_hProv = 0;
    }
}

}  // namespace QVUtils
