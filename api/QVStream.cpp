#include "api/QVStream.h"

#include "iostack/IOStatus.h"
#include "logging/LogTrace.h"

QV_LOG_SOURCE_FILE()

namespace Orvane {

using namespace QVIOStack;

QVStream::QVStream(IDeviceConnection* connection)
    : m_pConnection(connection), m_pReadAhead(new unsigned char[kReadAheadSize])
{
    if (m_pConnection != nullptr) {
        m_pConnection->AddRef();
    }
}

QVStream::~QVStream()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVStream::~QVStream");
    delete[] m_pReadAhead;
    if (m_pConnection != nullptr) {
        if (m_pConnection->IsOpen()) {
            QVStream::Close();
        }
        m_pConnection->Dispose();
    }
}

unsigned long QVStream::Open()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVStream::Open");
    m_lastStatus = IOError_Fail;
    if (m_pConnection == nullptr) {
        return logScope.m_errorCode = E_FAIL;
    }
    // An open connection is closed and opened anew.
    if (m_pConnection->IsOpen()) {
        m_pConnection->Close();
    }
    m_lastStatus = m_pConnection->Open(nullptr);
    if (m_lastStatus != 0) {
        QV_LOG_ERROR(L"Open failed with error %#x", m_lastStatus);
    }
    // The answer is the connection's state, not the status of its Open.
    return logScope.m_errorCode = m_pConnection->IsOpen() ? 0 : E_FAIL;
}

unsigned long QVStream::Write(const void* buffer, unsigned long size, unsigned long* written)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVStream::Write");
    if (!m_pConnection->IsOpen()) {
        if (const unsigned long opened = Open()) {
            return logScope.m_errorCode = opened;
        }
    }
    m_pConnection->LockWrite();
    const unsigned long status = m_pConnection->Write(buffer, size, written, nullptr);
    m_pConnection->UnlockWrite();
    // A failed write leaves m_lastStatus alone: GetSystemErrorCode keeps
    // telling the outcome of the last Open, Read or Close.
    return logScope.m_errorCode = status != 0 ? E_FAIL : 0;
}

unsigned long QVStream::BytesAvailable()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVStream::BytesAvailable");
    if (m_readAheadCount == 0 && Read(m_pReadAhead, kReadAheadSize, &m_readAheadCount) != 0) {
        m_readAheadCount = 0;
        return 0;
    }
    return m_readAheadCount;
}

unsigned long QVStream::Read(void* buffer, unsigned long size, unsigned long* read)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVStream::Read");
    m_lastStatus = 0;
    if (!m_pConnection->IsOpen()) {
        if (const unsigned long opened = Open()) {
            return logScope.m_errorCode = opened;
        }
    }
    unsigned long result = 0;
    m_pConnection->LockRead();
    if (m_readAheadCount != 0) {
        // Served from what BytesAvailable fetched; the connection is not read.
        const unsigned long n = size < m_readAheadCount ? size : m_readAheadCount;
        *read = n;
        unsigned char* out = static_cast<unsigned char*>(buffer);
        for (unsigned long i = 0; i < n; ++i) {
            out[i] = m_pReadAhead[i];
        }
        m_readAheadCount -= n;
        for (unsigned long i = 0; i < m_readAheadCount; ++i) {
            m_pReadAhead[i] = m_pReadAhead[i + n];
        }
    } else {
        m_lastStatus = m_pConnection->Read(buffer, size, read, nullptr);
        if (m_lastStatus != 0) {
            result = E_FAIL;
            *read = 0;
        }
    }
    m_pConnection->UnlockRead();
    return logScope.m_errorCode = result;
}

unsigned long QVStream::Close()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVStream::Close");
    m_lastStatus = m_pConnection->Close();
    return logScope.m_errorCode = m_lastStatus != 0 ? E_FAIL : 0;
}

unsigned long QVStream::GetSystemErrorCode()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::QVStream::GetSystemErrorCode");
    switch (m_lastStatus) {
    case 0:
        return 0;
    case IOError_DeviceGone:
        return ERROR_DEV_NOT_EXIST;
    case IOError_Busy:
        return ERROR_BUSY;
    case IOError_Aborted:
        return ERROR_OPERATION_ABORTED;
    case IOError_Timeout:
        return ERROR_TIMEOUT;
    default:
        return ERROR_GEN_FAILURE;
    }
}

unsigned long QVStream::GetOpenTimeout() { return m_pConnection->GetOpenTimeout(); }
void QVStream::SetOpenTimeout(unsigned long ms) { m_pConnection->SetOpenTimeout(ms); }
unsigned long QVStream::GetReadTimeout() { return m_pConnection->GetReadTimeout(); }
void QVStream::SetReadTimeout(unsigned long ms) { m_pConnection->SetReadTimeout(ms); }
unsigned long QVStream::GetWriteTimeout() { return m_pConnection->GetWriteTimeout(); }
void QVStream::SetWriteTimeout(unsigned long ms) { m_pConnection->SetWriteTimeout(ms); }

}  // namespace Orvane
