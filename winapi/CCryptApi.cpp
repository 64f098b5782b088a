#include "winapi/CCryptApi.h"

namespace QVWinApi {

BOOL CCryptApi::CryptUnprotectData(DATA_BLOB* pDataIn, LPWSTR* ppszDataDescr,
        DATA_BLOB* pOptionalEntropy, PVOID pvReserved, CRYPTPROTECT_PROMPTSTRUCT* pPromptStruct,
        DWORD dwFlags, DATA_BLOB* pDataOut)
{
    return ::CryptUnprotectData(pDataIn, ppszDataDescr, pOptionalEntropy, pvReserved, pPromptStruct, dwFlags, pDataOut);
}

BOOL CCryptApi::CryptAcquireContextW(HCRYPTPROV* phProv, LPCWSTR szContainer, LPCWSTR szProvider,
        DWORD dwProvType, DWORD dwFlags)
{
    return ::CryptAcquireContextW(phProv, szContainer, szProvider, dwProvType, dwFlags);
}

BOOL CCryptApi::CryptCreateHash(HCRYPTPROV hProv, ALG_ID Algid, HCRYPTKEY hKey, DWORD dwFlags,
        HCRYPTHASH* phHash)
{
    return ::CryptCreateHash(hProv, Algid, hKey, dwFlags, phHash);
}

BOOL CCryptApi::CryptHashData(HCRYPTHASH hHash, const BYTE* pbData, DWORD dwDataLen, DWORD dwFlags)
{
    return ::CryptHashData(hHash, pbData, dwDataLen, dwFlags);
}

BOOL CCryptApi::CryptGetHashParam(HCRYPTHASH hHash, DWORD dwParam, BYTE* pbData, DWORD* pdwDataLen,
        DWORD dwFlags)
{
    return ::CryptGetHashParam(hHash, dwParam, pbData, pdwDataLen, dwFlags);
}

BOOL CCryptApi::CryptDestroyHash(HCRYPTHASH hHash)
{
    return ::CryptDestroyHash(hHash);
}

BOOL CCryptApi::CryptReleaseContext(HCRYPTPROV hProv, DWORD dwFlags)
{
    return ::CryptReleaseContext(hProv, dwFlags);
}

HCERTSTORE CCryptApi::CertOpenStore(LPCSTR lpszStoreProvider, DWORD dwEncodingType,
        HCRYPTPROV_LEGACY hCryptProv, DWORD dwFlags, const void* pvPara)
{
    return ::CertOpenStore(lpszStoreProvider, dwEncodingType, hCryptProv, dwFlags, pvPara);
}

BOOL CCryptApi::CertAddEncodedCertificateToStore(HCERTSTORE hCertStore, DWORD dwCertEncodingType,
        const BYTE* pbCertEncoded, DWORD cbCertEncoded, DWORD dwAddDisposition,
        PCCERT_CONTEXT* ppCertContext)
{
    return ::CertAddEncodedCertificateToStore(hCertStore, dwCertEncodingType, pbCertEncoded, cbCertEncoded, dwAddDisposition, ppCertContext);
}

BOOL CCryptApi::CertDeleteCertificateFromStore(PCCERT_CONTEXT pCertContext)
{
    return ::CertDeleteCertificateFromStore(pCertContext);
}

BOOL CCryptApi::CertCloseStore(HCERTSTORE hCertStore, DWORD dwFlags)
{
    return ::CertCloseStore(hCertStore, dwFlags);
}

}  // namespace QVWinApi

namespace {

QVWinApi::CCryptApi s_cryptApi;

}  // namespace

QVWinApi::ICryptApi* g_pCryptApi = &s_cryptApi;
