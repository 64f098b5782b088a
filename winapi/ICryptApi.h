#pragma once

#include <windows.h>
#include <wincrypt.h>
#include <dpapi.h>

namespace QVWinApi {

// Cryptographic provider, data protection and certificate stores.
// Operations in slot order, the destructor last.
class ICryptApi {
public:
    virtual BOOL CryptUnprotectData(DATA_BLOB* pDataIn, LPWSTR* ppszDataDescr,
            DATA_BLOB* pOptionalEntropy, PVOID pvReserved, CRYPTPROTECT_PROMPTSTRUCT* pPromptStruct,
            DWORD dwFlags, DATA_BLOB* pDataOut) = 0;
    virtual BOOL CryptAcquireContextW(HCRYPTPROV* phProv, LPCWSTR szContainer, LPCWSTR szProvider,
            DWORD dwProvType, DWORD dwFlags) = 0;
    virtual BOOL CryptCreateHash(HCRYPTPROV hProv, ALG_ID Algid, HCRYPTKEY hKey, DWORD dwFlags,
            HCRYPTHASH* phHash) = 0;
    virtual BOOL CryptHashData(HCRYPTHASH hHash, const BYTE* pbData, DWORD dwDataLen,
            DWORD dwFlags) = 0;
    virtual BOOL CryptGetHashParam(HCRYPTHASH hHash, DWORD dwParam, BYTE* pbData, DWORD* pdwDataLen,
            DWORD dwFlags) = 0;
    virtual BOOL CryptDestroyHash(HCRYPTHASH hHash) = 0;
    virtual BOOL CryptReleaseContext(HCRYPTPROV hProv, DWORD dwFlags) = 0;
    virtual HCERTSTORE CertOpenStore(LPCSTR lpszStoreProvider, DWORD dwEncodingType,
            HCRYPTPROV_LEGACY hCryptProv, DWORD dwFlags, const void* pvPara) = 0;
    virtual BOOL CertAddEncodedCertificateToStore(HCERTSTORE hCertStore, DWORD dwCertEncodingType,
            const BYTE* pbCertEncoded, DWORD cbCertEncoded, DWORD dwAddDisposition,
            PCCERT_CONTEXT* ppCertContext) = 0;
    virtual BOOL CertDeleteCertificateFromStore(PCCERT_CONTEXT pCertContext) = 0;
    virtual BOOL CertCloseStore(HCERTSTORE hCertStore, DWORD dwFlags) = 0;
    virtual ~ICryptApi() = default;
};

}  // namespace QVWinApi

// The object through which the logic reaches these services.
extern QVWinApi::ICryptApi* g_pCryptApi;
