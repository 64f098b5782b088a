#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>

#include "http/CHTTPClient.h"
#include "iostack/CIONetwork.h"
#include "peers/LoopbackPeer.h"

namespace http_test {

// A client whose response reading is scripted by the test: the request side
// is the product's, the read is whatever the test says.
class ScriptedReadClient : public QVIOStack::CHTTPClient {
public:
    using Reader = std::function<unsigned long(ScriptedReadClient& client)>;

    explicit ScriptedReadClient(QVIOStack::IDeviceConnection* connection, Reader reader = nullptr)
        : CHTTPClient(connection), m_reader(std::move(reader))
    {
    }

    unsigned long ReadResponse(QVUtils::IProgress*) override
    {
        ++reads;
        return m_reader ? m_reader(*this) : 0;
    }

    int reads = 0;

private:
    Reader m_reader;
};

// A reader that gives every response the one HTTP status.
inline ScriptedReadClient::Reader AnswerWith(unsigned long statusCode)
{
    return [statusCode](ScriptedReadClient& client) {
        client.SetStatusCode(statusCode);
        return 0UL;
    };
}

// A TCP connection that counts its writes.
class CountingNetwork : public QVIOStack::CIONetwork {
public:
    unsigned long Write(const void* buffer, unsigned long size, unsigned long* bytesWritten,
                        QVUtils::IProgress* progress) override
    {
        ++writes;
        return CIONetwork::Write(buffer, size, bytesWritten, progress);
    }

    int writes = 0;
};

// What one connection to a loopback peer carried, complete once the client
// closed it.
class Recording {
public:
    peers::LoopbackPeer::Session Session()
    {
        return [this](peers::PeerSocket& s) {
            char buffer[65536];
            int n;
            while ((n = s.Receive(buffer, sizeof(buffer))) > 0) {
                std::lock_guard<std::mutex> guard(m_lock);
                m_bytes.append(buffer, n);
            }
            std::lock_guard<std::mutex> guard(m_lock);
            m_closed = true;
            m_changed.notify_all();
        };
    }

    // Everything received, after the client closed (at most 5 seconds).
    std::string Bytes()
    {
        std::unique_lock<std::mutex> guard(m_lock);
        m_changed.wait_for(guard, std::chrono::seconds(5), [this] { return m_closed; });
        return m_bytes;
    }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::string m_bytes;
    bool m_closed = false;
};

}  // namespace http_test
