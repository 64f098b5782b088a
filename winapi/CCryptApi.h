#pragma once

#include "winapi/ICryptApi.h"

namespace QVWinApi {

// Forwards each operation unchanged to the platform function of its name.
class CCryptApi : public ICryptApi {
public:
    constexpr CCryptApi() = default;

    BOOL CryptUnprotectData(DATA_BLOB* pDataIn, LPWSTR* ppszDataDescr, DATA_BLOB* pOptionalEntropy,
            PVOID pvReserved, CRYPTPROTECT_PROMPTSTRUCT* pPromptStruct, DWORD dwFlags,
            DATA_BLOB* pDataOut) override;
    BOOL CryptAcquireContextW(HCRYPTPROV* phProv, LPCWSTR szContainer, LPCWSTR szProvider,
            DWORD dwProvType, DWORD dwFlags) override;
    BOOL CryptCreateHash(HCRYPTPROV hProv, ALG_ID Algid, HCRYPTKEY hKey, DWORD dwFlags,
            HCRYPTHASH* phHash) override;
    BOOL CryptHashData(HCRYPTHASH hHash, const BYTE* pbData, DWORD dwDataLen,
            DWORD dwFlags) override;
    BOOL CryptGetHashParam(HCRYPTHASH hHash, DWORD dwParam, BYTE* pbData, DWORD* pdwDataLen,
            DWORD dwFlags) override;
    BOOL CryptDestroyHash(HCRYPTHASH hHash) override;
    BOOL CryptReleaseContext(HCRYPTPROV hProv, DWORD dwFlags) override;
    HCERTSTORE CertOpenStore(LPCSTR lpszStoreProvider, DWORD dwEncodingType,
            HCRYPTPROV_LEGACY hCryptProv, DWORD dwFlags, const void* pvPara) override;
    BOOL CertAddEncodedCertificateToStore(HCERTSTORE hCertStore, DWORD dwCertEncodingType,
            const BYTE* pbCertEncoded, DWORD cbCertEncoded, DWORD dwAddDisposition,
            PCCERT_CONTEXT* ppCertContext) override;
    BOOL CertDeleteCertificateFromStore(PCCERT_CONTEXT pCertContext) override;
    BOOL CertCloseStore(HCERTSTORE hCertStore, DWORD dwFlags) override;
};

}  // namespace QVWinApi
