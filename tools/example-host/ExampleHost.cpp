// A small host program: it starts a device sink on loopback, sends it a job
// through an orvane64 Stream, and prints the device's answer.
#include <winsock2.h>
#include <windows.h>

#include <cstdio>
#include <string>
#include <thread>

#include "orvane64.h"

namespace {

const char kJob[] =
    "\x1b%-12345X@PJL JOB NAME=\"demo\"\r\n"
    "@PJL ENTER LANGUAGE=PCL\r\n"
    "Hello from orvane64\r\n\f"
    "\x1b%-12345X";
const char kJobEnd[] = "\x1b%-12345X";

// The device: takes one connection, reads until the job's end mark after its
// start, and answers with what it received.
class JobSink {
public:
    bool Start()
    {
        WSADATA data;
        WSAStartup(MAKEWORD(2, 2), &data);
        m_listener = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        for (m_port = 9100; m_port >= 8000; --m_port) {
            address.sin_port = htons(m_port);
            if (bind(m_listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0) {
                break;
            }
        }
        if (m_port < 8000 || listen(m_listener, 1) != 0) {
            return false;
        }
        m_thread = std::thread(&JobSink::Serve, this);
        return true;
    }
    // Closing the listener ends a wait for a connection that never came; a
    // connection that came ends when the host closes its side.
    ~JobSink()
    {
        closesocket(m_listener);
        if (m_thread.joinable()) {
            m_thread.join();
        }
        WSACleanup();
    }
    int Port() const { return m_port; }

private:
    void Serve()
    {
        SOCKET device = accept(m_listener, nullptr, nullptr);
        std::string job;
        char buffer[4096];
        int n;
        while (job.rfind(kJobEnd) == std::string::npos || job.rfind(kJobEnd) == 0) {
            if ((n = recv(device, buffer, sizeof(buffer), 0)) <= 0) {
                break;
            }
            job.append(buffer, n);
        }
        const std::string answer = "JOB RECEIVED " + std::to_string(job.size()) + " BYTES\r\n";
        send(device, answer.data(), static_cast<int>(answer.size()), 0);
        shutdown(device, SD_SEND);
        while (recv(device, buffer, sizeof(buffer), 0) > 0) {
        }
        closesocket(device);
    }

    SOCKET m_listener = INVALID_SOCKET;
    int m_port = 0;
    std::thread m_thread;
};

// Reports a failed step with the stream's system error, and gives the stream
// back, which closes its connection.
int Fail(const char* what, Orvane::Stream* stream)
{
    if (stream == nullptr) {
        std::printf("%s failed\n", what);
        return 1;
    }
    std::printf("%s failed: system error %lu\n", what, stream->GetSystemErrorCode());
    stream->Dispose();
    return 1;
}

}  // namespace

int main()
{
    JobSink sink;
    if (!sink.Start()) {
        std::printf("could not start the device sink on loopback\n");
        return 1;
    }
    std::printf("device sink listening on 127.0.0.1:%d\n", sink.Port());

    Orvane::Address* address = Orvane::CreateAddressFromIPAddress(L"127.0.0.1");
    if (address == nullptr) {
        return Fail("CreateAddressFromIPAddress", nullptr);
    }
    Orvane::Stream* stream = nullptr;
    address->CreateStream(sink.Port(), &stream);
    address->Dispose();  // the stream does not need its address
    if (stream == nullptr) {
        return Fail("CreateStream", nullptr);
    }

    stream->SetReadTimeout(5000);
    unsigned long written = 0;
    if (stream->Write(kJob, sizeof(kJob) - 1, &written) != 0) {
        return Fail("Write", stream);
    }
    std::printf("wrote %lu bytes\n", written);

    char answer[256];
    unsigned long read = 0;
    if (stream->Read(answer, sizeof(answer) - 1, &read) != 0) {
        return Fail("Read", stream);
    }
    answer[read] = '\0';
    std::printf("device answered: %s", answer);

    stream->Close();
    stream->Dispose();
    std::printf("done\n");
    return 0;
}
