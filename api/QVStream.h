#pragma once

#include "iostack/IDeviceConnection.h"
#include "orvane64.h"
#include "utils/IDisposableImpl.h"

namespace Orvane {

// The one Stream: bulk read and write on any device connection, opened on
// demand, with a read-ahead buffer that BytesAvailable fills.
class QVStream : public Stream, public IDisposableImpl {
public:
    // Takes its own reference on the connection.
    explicit QVStream(QVIOStack::IDeviceConnection* connection);
    ~QVStream() override;

    unsigned long Open() override;
    unsigned long Write(const void* buffer, unsigned long size, unsigned long* written) override;
    unsigned long BytesAvailable() override;
    unsigned long Read(void* buffer, unsigned long size, unsigned long* read) override;
    unsigned long Close() override;
    unsigned long GetSystemErrorCode() override;
    unsigned long GetOpenTimeout() override;
    void SetOpenTimeout(unsigned long ms) override;
    unsigned long GetReadTimeout() override;
    void SetReadTimeout(unsigned long ms) override;
    unsigned long GetWriteTimeout() override;
    void SetWriteTimeout(unsigned long ms) override;

    const char* GetRuntimeTypeName() const override { return QVUtils::UndecoratedTypeName(typeid(*this)); }

    static constexpr unsigned long kReadAheadSize = 2048;

private:
    QVIOStack::IDeviceConnection* m_pConnection;
    unsigned long m_lastStatus = 0;
    unsigned char* m_pReadAhead;
    unsigned long m_readAheadCount = 0;
};

}  // namespace Orvane
