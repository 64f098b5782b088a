#include "devsim/Md5.h"

#include <windows.h>
#include <wincrypt.h>

namespace devsim {

std::string Md5::Hex(const std::string& data)
{
    HCRYPTPROV provider = 0;
    HCRYPTHASH hash = 0;
    BYTE digest[16];
    DWORD size = sizeof(digest);
    const bool ok = CryptAcquireContextW(&provider, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT)
                    && CryptCreateHash(provider, CALG_MD5, 0, 0, &hash)
                    && CryptHashData(hash, reinterpret_cast<const BYTE*>(data.data()), static_cast<DWORD>(data.size()), 0)
                    && CryptGetHashParam(hash, HP_HASHVAL, digest, &size, 0) && size == sizeof(digest);
    if (hash != 0) {
        CryptDestroyHash(hash);
    }
    if (provider != 0) {
        CryptReleaseContext(provider, 0);
    }
    if (!ok) {
        return std::string();
    }
    static const char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const BYTE b : digest) {
        text += kDigits[b >> 4];
        text += kDigits[b & 15];
    }
    return text;
}

}  // namespace devsim
