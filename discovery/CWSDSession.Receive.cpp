// Taking one received message apart: envelope and header, the duplicate
// test, then the body as one of the four messages the family's devices send.
#include "discovery/CWSDSession.h"

#include "logging/LogTrace.h"

QV_LOG_SOURCE_FILE()

namespace QVDiscovery {

namespace {

bool HasUUID(const struct zqd__VendorExtensionType* extension)
{
    return extension != nullptr && extension->dd__UUID != nullptr;
}

}  // namespace

bool CWSDSession::ReceiveBegin()
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CWSDSession::ReceiveBegin");
    m_soap.header = nullptr;
    soap_begin(&m_soap);
    if (soap_begin_recv(&m_soap) != SOAP_OK) {
        QV_LOG_ERROR(L"soap_begin_recv() failed, err=%d", m_soap.error);
        return false;
    }
    if (soap_envelope_begin_in(&m_soap) != SOAP_OK) {
        QV_LOG_ERROR(L"soap_envelope_begin_in() failed, err=%d", m_soap.error);
        return false;
    }
    // A message without a header is no failure here.
    if (soap_recv_header(&m_soap) != SOAP_OK) {
        QV_LOG_ERROR(L"soap_recv_header() failed, err=%d", m_soap.error);
        return false;
    }
    if (soap_body_begin_in(&m_soap) != SOAP_OK) {
        QV_LOG_ERROR(L"soap_body_begin_in() failed, err=%d", m_soap.error);
        return false;
    }
    // A message without an identifier cannot be told from its own
    // retransmission: it counts as a duplicate.
    const char* id = m_soap.header != nullptr ? m_soap.header->wsa__MessageID : nullptr;
    if (m_cache.Add(id) != 0) {
        QV_LOG_ERROR(L"Message ID (%S) is a duplicate", id != nullptr ? id : "(null)");
        return false;
    }
    return true;
}

void CWSDSession::ReceiveEnd()
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CWSDSession::ReceiveEnd");
    m_soap.header = nullptr;
    // The matches' structures are gSOAP's C++ objects: soap_end alone would
    // forget them without deleting them.
    soap_destroy(&m_soap);
    soap_end(&m_soap);
}

bool CWSDSession::EndMessage()
{
    return soap_getindependent(&m_soap) == SOAP_OK && soap_body_end_in(&m_soap) == SOAP_OK
        && soap_envelope_end_in(&m_soap) == SOAP_OK && soap_end_recv(&m_soap) == SOAP_OK;
}

bool CWSDSession::ReceiveHello(struct wsd__HelloZQType* hello)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CWSDSession::ReceiveHello");
    if (soap_in_wsd__HelloZQType(&m_soap, "wsd:Hello", hello, nullptr) == nullptr) {
        // Another element: the caller may try the next reader on it.
        if (m_soap.error != SOAP_TAG_MISMATCH) {
            QV_LOG_ERROR(L"soap_in_wsd__HelloZQType() failed, err=%d", m_soap.error);
        }
        return false;
    }
    return EndMessage() && HasUUID(hello->zqd__VendorExtension);
}

bool CWSDSession::ReceiveBye(struct wsd__ByeZQType* bye)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CWSDSession::ReceiveBye");
    if (soap_in_wsd__ByeZQType(&m_soap, "wsd:Bye", bye, nullptr) == nullptr) {
        if (m_soap.error != SOAP_TAG_MISMATCH) {
            QV_LOG_ERROR(L"soap_in_wsd__ByeZQType() failed, err=%d", m_soap.error);
        }
        return false;
    }
    return EndMessage() && HasUUID(bye->zqd__VendorExtension);
}

bool CWSDSession::ReceiveProbeMatches(struct wsd__ProbeMatchesZQType* matches)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CWSDSession::ReceiveProbeMatches");
    if (!RelatesToRequest()) {
        return false;
    }
    if (soap_in_wsd__ProbeMatchesZQType(&m_soap, "wsd:ProbeMatches", matches, nullptr) == nullptr) {
        if (m_soap.error != SOAP_TAG_MISMATCH) {
            QV_LOG_ERROR(L"soap_in_wsd__ProbeMatchesZQType() failed, err=%d", m_soap.error);
        }
        return false;
    }
    // Only the first match counts, here and in the device's record.
    return EndMessage() && matches->__sizeProbeMatch >= 1
        && HasUUID(matches->wsd__ProbeMatch[0].zqd__VendorExtension);
}

bool CWSDSession::ReceiveResolveMatches(struct wsd__ResolveMatchesZQType* matches)
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CWSDSession::ReceiveResolveMatches");
    if (!RelatesToRequest()) {
        return false;
    }
    if (soap_in_wsd__ResolveMatchesZQType(&m_soap, "wsd:ResolveMatches", matches, nullptr) == nullptr) {
        if (m_soap.error != SOAP_TAG_MISMATCH) {
            QV_LOG_ERROR(L"soap_in_wsd__ResolveMatchesZQType() failed, err=%d", m_soap.error);
        }
        return false;
    }
    return EndMessage() && matches->wsd__ResolveMatch != nullptr
        && HasUUID(matches->wsd__ResolveMatch->zqd__VendorExtension);
}

bool CWSDSession::RelatesToRequest()
{
    QV_LOG_FUNCTION(g_pDiscoveryLibLog, L"QVDiscovery::CWSDSession::RelatesToRequest");
    const struct SOAP_ENV__Header* header = m_soap.header;
    const char* relatesTo = header != nullptr && header->wsa__RelatesTo != nullptr ? header->wsa__RelatesTo->__item
                                                                                     : nullptr;
    if (relatesTo == nullptr || *relatesTo == '\0') {
        QV_LOG_LINE(QVLogging::kCategoryDebug, L"Missing RelatesTo value in SOAP header");
        return false;
    }
    if (!CMessageIdCache::SameId(relatesTo, m_messageId.c_str())) {
        QV_LOG_LINE(QVLogging::kCategoryDebug, L"Wrong RelatesTo value in SOAP header");
        return false;
    }
    return true;
}

}  // namespace QVDiscovery
