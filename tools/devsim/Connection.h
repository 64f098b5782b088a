// One accepted, non-blocking connection of the simulator, driven by its
// select loop: the loop calls OnReadable and OnWritable as the socket
// allows and OnTick in every slice, and drops the connection once Done.
#pragma once

#include <winsock2.h>
#include <windows.h>

#include <string>

#include "devsim/EventLog.h"

namespace devsim {

class Connection {
public:
    Connection(SOCKET socket, std::string peer, EventLog& log);
    virtual ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    SOCKET Socket() const { return m_socket; }
    virtual void OnReadable(ULONGLONG now) = 0;
    virtual void OnTick(ULONGLONG now) = 0;
    // Sends what is queued, as far as the socket takes it.
    void OnWritable();
    bool WantsWrite() const { return !m_output.empty(); }
    bool Done() const { return m_done; }

protected:
    enum : int { kWouldBlock = -1, kFailed = -2 };
    // Bytes received, 0 when the peer shut its side down, or kWouldBlock
    // or kFailed.
    int Receive(char* buffer, int size);
    void Queue(const std::string& bytes);
    // Shuts the sending side down once the queue is sent, then ends.
    void CloseAfterSending();
    // Ends at once, dropping what is queued.
    void Abort() { m_done = true; }

    const std::string m_peer;
    EventLog& m_log;

private:
    SOCKET m_socket;
    std::string m_output;
    bool m_closeAfterSending = false;
    bool m_done = false;
};

}  // namespace devsim
