#pragma once

#include <gmock/gmock.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "doubles/MockDeviceConnection.h"
#include "http/CHTTPClient.h"
#include "iostack/CIONetwork.h"
#include "iostack/IOStatus.h"
#include "peers/LoopbackPeer.h"

namespace http_test {

// The product's client, counting its response reads and keeping the status
// of the last one (which Navigate may overwrite), and the HTTP status and
// content of each read that succeeded (a retry or redirect reads again).
class ObservedClient : public QVIOStack::CHTTPClient {
public:
    using CHTTPClient::CHTTPClient;

    unsigned long ReadResponse(QVUtils::IProgress* progress) override
    {
        ++reads;
        lastRead = CHTTPClient::ReadResponse(progress);
        if (lastRead == 0) {
            const unsigned char* content = GetContent();
            statusCodes.push_back(GetStatusCode());
            contents.push_back(content ? std::string(reinterpret_cast<const char*>(content), GetContentLength())
                                       : std::string());
        }
        return lastRead;
    }

    int reads = 0;
    unsigned long lastRead = 0xFFFFFFFF;
    std::vector<unsigned long> statusCodes;
    std::vector<std::string> contents;
};

// One step of what a device says: bytes delivered by reads of their own (no
// read takes bytes of two steps), or, with no bytes, one read that ends with
// `status` and nothing read.
struct ReadStep {
    std::string bytes;
    unsigned long status = 0;
};

// Steps that cut a response at the given positions.
inline std::vector<ReadStep> CutAt(const std::string& response, std::vector<size_t> cuts)
{
    std::vector<ReadStep> steps;
    size_t from = 0;
    cuts.push_back(response.size());
    for (size_t cut : cuts) {
        steps.push_back({response.substr(from, cut - from)});
        from = cut;
    }
    return steps;
}

// Steps of one byte each.
inline std::vector<ReadStep> Bytewise(const std::string& response)
{
    std::vector<ReadStep> steps;
    for (char c : response) {
        steps.push_back({std::string(1, c)});
    }
    return steps;
}

// A device behind a scripted connection that is no socket. Each request the
// client sends (once it releases the write side) is answered with the next
// scripted answer, or `defaultAnswer`; reads then deliver the answer step by
// step. With nothing pending a read ends with `quiet`: IOError_Timeout is a
// device that says nothing more, IOError_Fail a closed connection. A read of
// 0 bytes times out, as on a socket.
class ScriptedDevice {
public:
    ScriptedDevice() : m_connection(new ::testing::NiceMock<doubles::MockDeviceConnection>())
    {
        using ::testing::_;
        using ::testing::Invoke;
        using ::testing::Return;
        m_connection->AddRef();
        ON_CALL(*m_connection, GetAddress()).WillByDefault(Return(L"10.0.0.5"));
        ON_CALL(*m_connection, GetPort()).WillByDefault(Return(L"80"));
        ON_CALL(*m_connection, Write(_, _, _, _))
            .WillByDefault(Invoke([this](const void* buffer, unsigned long size, unsigned long* written,
                                         QVUtils::IProgress*) {
                requests.emplace_back(static_cast<const char*>(buffer), size);
                *written = size;
                return 0UL;
            }));
        ON_CALL(*m_connection, UnlockWrite()).WillByDefault(Invoke([this] { AnswerRequest(); }));
        ON_CALL(*m_connection, Read(_, _, _, _)).WillByDefault(Invoke(this, &ScriptedDevice::Read));
        ON_CALL(*m_connection, GetReadTimeout()).WillByDefault(Invoke([this] { return readTimeout; }));
        ON_CALL(*m_connection, SetReadTimeout(_)).WillByDefault(Invoke([this](unsigned long ms) {
            readTimeout = ms;
            readTimeouts.push_back(ms);
        }));
    }
    ~ScriptedDevice() { m_connection->Dispose(); }
    ScriptedDevice(const ScriptedDevice&) = delete;
    ScriptedDevice& operator=(const ScriptedDevice&) = delete;

    ::testing::NiceMock<doubles::MockDeviceConnection>& Connection() { return *m_connection; }

    // The answer to a later request: whole in one read, or in steps.
    void Answer(const std::string& response) { m_answers.push_back({{response}}); }
    void Answer(std::vector<ReadStep> steps) { m_answers.push_back(std::move(steps)); }
    // Bytes the device says at once, before any request.
    void Say(std::vector<ReadStep> steps) { m_pending.insert(m_pending.end(), steps.begin(), steps.end()); }
    // What has not been read yet.
    std::string Unread() const
    {
        std::string bytes;
        for (const ReadStep& step : m_pending) {
            bytes += step.bytes;
        }
        return bytes;
    }

    std::string defaultAnswer;
    unsigned long quiet = QVIOStack::IOError_Timeout;
    unsigned long readTimeout = 30000;
    std::vector<std::string> requests;
    // What the reads with a progress object (the client's response reads)
    // asked for and took, and what those without one (the drain before a
    // request) took.
    std::vector<unsigned long> readSizes;
    std::string read;
    std::string drained;
    std::vector<unsigned long> readTimeouts;

private:
    void AnswerRequest()
    {
        if (!m_answers.empty()) {
            Say(m_answers.front());
            m_answers.pop_front();
        } else if (!defaultAnswer.empty()) {
            Say({{defaultAnswer}});
        }
    }

    unsigned long Read(void* buffer, unsigned long size, unsigned long* count, QVUtils::IProgress* progress)
    {
        *count = 0;
        if (progress) {
            readSizes.push_back(size);
        }
        if (size == 0) {
            return QVIOStack::IOError_Timeout;
        }
        if (m_pending.empty()) {
            return quiet;
        }
        ReadStep& step = m_pending.front();
        if (step.bytes.empty()) {
            const unsigned long status = step.status;
            m_pending.pop_front();
            return status;
        }
        *count = static_cast<unsigned long>(std::min<size_t>(size, step.bytes.size()));
        memcpy(buffer, step.bytes.data(), *count);
        (progress ? read : drained).append(step.bytes, 0, *count);
        step.bytes.erase(0, *count);
        if (step.bytes.empty()) {
            m_pending.pop_front();
        }
        return 0;
    }

    ::testing::NiceMock<doubles::MockDeviceConnection>* m_connection;
    std::deque<std::vector<ReadStep>> m_answers;
    std::deque<ReadStep> m_pending;
};

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

// The end of the request at the start of `bytes`, or npos while it is
// incomplete: the header block and a body of its Content-Length.
inline size_t RequestEnd(const std::string& bytes)
{
    const size_t header = bytes.find("\r\n\r\n");
    if (header == std::string::npos) {
        return std::string::npos;
    }
    size_t end = header + 4;
    const size_t length = bytes.find("Content-Length: ");
    if (length != std::string::npos && length < header) {
        end += std::stoul(bytes.substr(length + 16));
    }
    return end <= bytes.size() ? end : std::string::npos;
}

// What one connection to a loopback peer carried, complete once the client
// closed it. The peer answers each request with `answer`.
class Recording {
public:
    explicit Recording(std::string answer = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n")
        : m_answer(std::move(answer))
    {
    }

    peers::LoopbackPeer::Session Session()
    {
        return [this](peers::PeerSocket& s) {
            char buffer[65536];
            int n;
            std::string unanswered;
            while ((n = s.Receive(buffer, sizeof(buffer))) > 0) {
                {
                    std::lock_guard<std::mutex> guard(m_lock);
                    m_bytes.append(buffer, n);
                }
                unanswered.append(buffer, n);
                for (size_t end; (end = RequestEnd(unanswered)) != std::string::npos;) {
                    unanswered.erase(0, end);
                    s.Send(m_answer);
                }
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
    const std::string m_answer;
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::string m_bytes;
    bool m_closed = false;
};

}  // namespace http_test
