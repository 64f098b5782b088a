#pragma once

#include <windows.h>
#include <wincrypt.h>

#include <string>

namespace QVUtils {

// An MD5 digest through the platform's cryptographic provider. Each hash runs
// on a provider context of its own, opened with its first data and released
// when the hash is finished. The digest-response constructor makes the
// response of HTTP digest authentication from its parts.
class MD5 {
public:
    MD5();
    // `method` null means "GET", `nc` null means "00000001"; any other null
    // argument leaves the object without a digest. With an empty `qop` the
    // response is the three-part one. Each text goes through code page 1252
    // in a buffer of 1024 bytes: a text that doesn't fit counts as empty.
    MD5(const wchar_t* nonce, const wchar_t* cnonce, const wchar_t* user, const wchar_t* realm,
        const wchar_t* password, const wchar_t* qop, const wchar_t* uri, const wchar_t* method,
        const wchar_t* nc);
    virtual ~MD5();
    MD5(const MD5&) = delete;
    MD5& operator=(const MD5&) = delete;

    // Adds bytes to the hash in hand, starting one if none is. False when the
    // provider fails: that hash then takes nothing more and its Finish fails.
    bool Add(const void* data, unsigned long length);
    bool Add(const std::string& text) { return Add(text.data(), static_cast<unsigned long>(text.size())); }
    // Ends the hash in hand (of nothing if nothing was added) and keeps its
    // digest. False when the provider fails, leaving no digest.
    bool Finish();
    // The digest as 32 lower-case hexadecimal digits, or empty if there is none.
    std::wstring GetDigest() const;

private:
    bool Start();
    void Release();

    bool m_bFinished = false;
    bool m_bDataAdded = false;
    BYTE m_digest[16] = {};
    HCRYPTHASH m_hHash = 0;
    HCRYPTPROV m_hProv = 0;
};

}  // namespace QVUtils
