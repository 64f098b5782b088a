#pragma once

#include <windows.h>

#include "TransferCase.h"

namespace QVIOStack {
class CIOUSB;
}

namespace bench {

// 64 KiB blocks moved one way through the virtual USB printer's print
// function: through the USB connection (ours), or with overlapped
// WriteFile/ReadFile and one event on the same device path (raw). The
// printer is played by this program (UsbBenchPrinter).
class UsbTransferCase : public TransferCase {
public:
    UsbTransferCase(const std::string& id, Direction direction, bool raw, unsigned long chunk);
    ~UsbTransferCase() override;

    bool Begin() override;
    unsigned long long Step() override;
    void End() override;

private:
    bool m_raw;
    QVIOStack::CIOUSB* m_connection = nullptr;
    HANDLE m_file = INVALID_HANDLE_VALUE;
    HANDLE m_event = nullptr;
};

// The virtual USB printer for the USB cases: attached and its print
// function plugged for the life of the object, reads answered at once.
class UsbBenchPrinter {
public:
    UsbBenchPrinter();
    ~UsbBenchPrinter();
    bool Ready() const { return m_ready; }

private:
    bool m_ready = false;
};

}  // namespace bench
