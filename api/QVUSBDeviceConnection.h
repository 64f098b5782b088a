#pragma once

#include "iostack/CIOUSB.h"

namespace Orvane {

// The façade's USB connection: instead of failing at once on a taken
// channel, Open queues behind the owner on a second named event, for up to
// the open timeout.
class QVUSBDeviceConnection : public QVIOStack::CIOUSB {
public:
    QVUSBDeviceConnection();
    // Gives the channel up here, where a waiter is still handed it.
    ~QVUSBDeviceConnection() override;

    unsigned long LockChannelObject(const std::wstring& name) override;
    void UnlockChannelObject() override;

    const char* GetRuntimeTypeName() const override { return QVUtils::UndecoratedTypeName(typeid(*this)); }

private:
    void CloseWaitEvent();

    HANDLE m_hWaitEvent = nullptr;
};

}  // namespace Orvane
