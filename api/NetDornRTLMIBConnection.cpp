#include "api/NetDornRTLMIBConnection.h"

#include "api/DornRTLLoader.h"
#include "logging/LogTrace.h"

QV_LOG_SOURCE_FILE()

namespace Orvane {

void NetDornRTLMIBConnection::Initialize(const wchar_t* address)
{
    InitializeIPAddress(address);
}

unsigned long NetDornRTLMIBConnection::GetNextValue(const wchar_t* oid, wchar_t* nextOidOut,
                                                    unsigned long nextOidSize, VARIANT* out)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::NetDornRTLMIBConnection::GetNextValue");
    return logScope.m_errorCode = NextValue(
               oid, nextOidOut, nextOidSize, out,
               [this](const unsigned char* bytes, unsigned long count, unsigned char* buffer, unsigned long size,
                      unsigned long* nextOidLength, unsigned long* valueLength, unsigned long* type) {
                   unsigned long oids = 1;
                   unsigned long oidLength = count;
                   const unsigned char* oid = bytes;
                   return m_pLoader->DornGetNextMultiObjectValuesEx(m_hDevice, m_hRegistration, &oids, &oidLength,
                                                                    &oid, size, buffer, nextOidLength, type,
                                                                    valueLength);
               });
}

}  // namespace Orvane
