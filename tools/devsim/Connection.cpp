#include "devsim/Connection.h"

namespace devsim {

Connection::Connection(SOCKET socket, std::string peer, EventLog& log)
    : m_peer(std::move(peer)), m_log(log), m_socket(socket)
{
}

Connection::~Connection()
{
    closesocket(m_socket);
}

int Connection::Receive(char* buffer, int size)
{
    const int received = recv(m_socket, buffer, size, 0);
    if (received >= 0) {
        return received;
    }
    return WSAGetLastError() == WSAEWOULDBLOCK ? kWouldBlock : kFailed;
}

void Connection::Queue(const std::string& bytes)
{
    m_output += bytes;
    OnWritable();
}

void Connection::CloseAfterSending()
{
    m_closeAfterSending = true;
    OnWritable();
}

void Connection::OnWritable()
{
    while (!m_output.empty() && !m_done) {
        const int sent = send(m_socket, m_output.data(), static_cast<int>(m_output.size()), 0);
        if (sent == SOCKET_ERROR) {
            if (WSAGetLastError() != WSAEWOULDBLOCK) {
                Abort();
            }
            return;
        }
        m_output.erase(0, static_cast<size_t>(sent));
    }
    if (m_output.empty() && m_closeAfterSending && !m_done) {
        shutdown(m_socket, SD_SEND);
        m_done = true;
    }
}

}  // namespace devsim
