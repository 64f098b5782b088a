#include "TcpListener.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <random>

namespace bench {

TcpListener::~TcpListener()
{
    if (m_socket >= 0) {
        close(m_socket);
    }
}

bool TcpListener::Open(int low, int high)
{
    const int span = high - low + 1;
    const int start = static_cast<int>(std::random_device{}() % span);
    for (int i = 0; i < span; ++i) {
        const int port = low + (start + i) % span;
        const int s = socket(AF_INET, SOCK_STREAM, 0);
        if (s < 0) {
            return false;
        }
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (bind(s, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0
            && listen(s, 1024) == 0) {
            m_socket = s;
            m_port = port;
            return true;
        }
        close(s);
    }
    return false;
}

int TcpListener::Connect(int port)
{
    const int s = socket(AF_INET, SOCK_STREAM, 0);
    if (s < 0) {
        return -1;
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(s, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        close(s);
        return -1;
    }
    return s;
}

}  // namespace bench
