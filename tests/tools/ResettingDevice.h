// A device on a stream port (the highest free one from 9100 down to 8000)
// that takes the first bytes of one job and then resets the connection, as
// a printer failing mid-job.
#pragma once

#include <winsock2.h>

#include <atomic>
#include <string>
#include <thread>

namespace toolstest {

class ResettingDevice {
public:
    // Serves one connection, within 20 s, and resets it once `bytes` came.
    explicit ResettingDevice(size_t bytes);
    ~ResettingDevice();
    ResettingDevice(const ResettingDevice&) = delete;
    ResettingDevice& operator=(const ResettingDevice&) = delete;

    std::wstring Target() const { return L"127.0.0.1:" + std::to_wstring(m_port); }
    // The bytes taken before the reset.
    size_t Received() const { return m_received; }

private:
    void Serve(size_t bytes);

    SOCKET m_listener = INVALID_SOCKET;
    unsigned short m_port = 0;
    std::atomic<size_t> m_received{0};
    std::thread m_thread;
};

}  // namespace toolstest
