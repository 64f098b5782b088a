// The network address and its streams, end to end on loopback.
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>

#include "api/AddressFactory.h"
#include "peers/CloseBarrier.h"
#include "peers/LoopbackPeer.h"

using namespace Orvane;
using peers::LoopbackPeer;

namespace {

size_t SizeOf(const std::string& text, std::mutex& lock)
{
    std::lock_guard<std::mutex> guard(lock);
    return text.size();
}

bool WaitForSize(const std::string& text, std::mutex& lock, size_t size)
{
    for (int i = 0; i < 500 && SizeOf(text, lock) < size; ++i) {
        Sleep(10);
    }
    return SizeOf(text, lock) >= size;
}

struct NetworkAddress : ::testing::Test {
    ~NetworkAddress() override
    {
        if (stream) {
            stream->Dispose();
        }
        if (address) {
            address->Dispose();
        }
    }
    void StreamOn(const LoopbackPeer& peer)
    {
        ASSERT_EQ(0u, address->CreateStream(peer.Port(), &stream));
        ASSERT_NE(nullptr, stream);
    }
    Address* address = AddressFactory::CreateFromIPAddress(L"127.0.0.1");
    Stream* stream = nullptr;
};

TEST_F(NetworkAddress, StreamsOnlyOnPorts80To9100WithStatusZeroEitherWay)
{
    Stream* out = reinterpret_cast<Stream*>(1);
    EXPECT_EQ(0u, address->CreateStream(79, &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_EQ(0u, address->CreateStream(9101, &out));
    EXPECT_EQ(nullptr, out);
    for (int port : {80, 9100}) {
        EXPECT_EQ(0u, address->CreateStream(port, &out));
        ASSERT_NE(nullptr, out) << port;
        EXPECT_EQ(0u, out->Dispose());
    }
}

TEST_F(NetworkAddress, SecurePortsGiveStreamsOnAConnectionThatCarriesNoBytes)
{
    // HTTPS is all such a connection does: it opens without the network,
    // and bulk reads and writes fail.
    for (int port : {443, 7627}) {
        Stream* out = nullptr;
        EXPECT_EQ(0u, address->CreateStream(port, &out));
        ASSERT_NE(nullptr, out) << port;
        EXPECT_EQ(0u, out->Open()) << port;
        unsigned long count = 0;
        EXPECT_EQ(static_cast<unsigned long>(E_FAIL), out->Write("job", 3, &count)) << port;
        char buffer[4];
        EXPECT_EQ(static_cast<unsigned long>(E_FAIL), out->Read(buffer, sizeof(buffer), &count)) << port;
        EXPECT_EQ(0u, out->Dispose());
    }
}

TEST_F(NetworkAddress, KeepsItsTextAndClaimsConnectedWithoutTheNetwork)
{
    EXPECT_STREQ(L"127.0.0.1", address->GetAddress());
    EXPECT_TRUE(address->IsConnected());
    Address* empty = AddressFactory::CreateFromIPAddress(nullptr);
    ASSERT_NE(nullptr, empty);
    EXPECT_STREQ(L"", empty->GetAddress());
    EXPECT_EQ(0u, empty->Dispose());
}

TEST_F(NetworkAddress, HasNoNotifier)
{
    Notifier* notifier = reinterpret_cast<Notifier*>(1);
    EXPECT_EQ(static_cast<unsigned long>(E_FAIL), address->CreateNotifier(&notifier));
    EXPECT_EQ(nullptr, notifier);
}

TEST_F(NetworkAddress, ThreeBytesAvailableAreReadAsTwoThenOne)
{
    LoopbackPeer peer(LoopbackPeer::Reply("abc"), LoopbackPeer::PortChoice::StreamRange);
    StreamOn(peer);
    stream->SetReadTimeout(5000);
    EXPECT_EQ(3u, stream->BytesAvailable());
    char buffer[4] = {};
    unsigned long read = 0;
    EXPECT_EQ(0u, stream->Read(buffer, 2, &read));
    EXPECT_EQ("ab", std::string(buffer, read));
    EXPECT_EQ(0u, stream->Read(buffer, 2, &read));
    EXPECT_EQ("c", std::string(buffer, read));
}

TEST_F(NetworkAddress, BytesAvailableWithNothingArrivingIsZeroAfterTheReadTimeout)
{
    LoopbackPeer peer(LoopbackPeer::Silent, LoopbackPeer::PortChoice::StreamRange);
    StreamOn(peer);
    stream->SetReadTimeout(200);
    EXPECT_EQ(0u, stream->BytesAvailable());
    EXPECT_EQ(static_cast<unsigned long>(ERROR_TIMEOUT), stream->GetSystemErrorCode());
}

TEST_F(NetworkAddress, OpenOnAnOpenStreamConnectsAgain)
{
    LoopbackPeer peer(LoopbackPeer::Silent, LoopbackPeer::PortChoice::StreamRange);
    StreamOn(peer);
    EXPECT_EQ(0u, stream->Open());
    ASSERT_TRUE(peer.WaitAccepted(1));
    EXPECT_EQ(0u, stream->Open());
    EXPECT_TRUE(peer.WaitAccepted(2));
    EXPECT_EQ(0u, stream->GetSystemErrorCode());
}

TEST_F(NetworkAddress, OpenOnAClosedPortFailsWithGeneralFailure)
{
    unsigned short port;
    {
        LoopbackPeer gone(LoopbackPeer::Silent, LoopbackPeer::PortChoice::StreamRange);
        port = gone.Port();
    }
    ASSERT_EQ(0u, address->CreateStream(port, &stream));
    EXPECT_EQ(static_cast<unsigned long>(E_FAIL), stream->Open());
    EXPECT_EQ(static_cast<unsigned long>(ERROR_GEN_FAILURE), stream->GetSystemErrorCode());
}

TEST_F(NetworkAddress, StreamWorksAfterItsAddressWasDisposed)
{
    std::string received;
    std::mutex lock;
    LoopbackPeer peer(LoopbackPeer::Record(&received, &lock), LoopbackPeer::PortChoice::StreamRange);
    StreamOn(peer);
    EXPECT_EQ(0u, address->Dispose());
    address = nullptr;
    unsigned long written = 0;
    EXPECT_EQ(0u, stream->Write("job", 3, &written));
    EXPECT_EQ(3u, written);
    ASSERT_TRUE(WaitForSize(received, lock, 3));
    std::lock_guard<std::mutex> guard(lock);
    EXPECT_EQ("job", received);
}

TEST_F(NetworkAddress, WriteAfterThePeerClosedReconnects)
{
    std::string received;
    std::mutex lock;
    std::atomic<int> sessions{0};
    std::atomic<bool> closeNow{false};
    std::atomic<bool> closed{false};
    LoopbackPeer peer([&](peers::PeerSocket& s) {
        if (sessions++ == 0) {
            // Closes only once Open has seen the connection up.
            while (!closeNow) {
                Sleep(1);
            }
            LoopbackPeer::CloseAtOnce(s);
            closed = true;
        } else {
            LoopbackPeer::Record(&received, &lock)(s);
        }
    }, LoopbackPeer::PortChoice::StreamRange);
    StreamOn(peer);
    ASSERT_EQ(0u, stream->Open());
    ASSERT_TRUE(peer.WaitAccepted(1));
    closeNow = true;
    while (!closed) {
        Sleep(1);
    }
    ASSERT_TRUE(peers::WaitForEarlierClosesToArrive());  // the close reaches the connection's event
    unsigned long written = 0;
    EXPECT_EQ(0u, stream->Write("again", 5, &written));
    EXPECT_TRUE(peer.WaitAccepted(2));
    ASSERT_TRUE(WaitForSize(received, lock, 5));
    std::lock_guard<std::mutex> guard(lock);
    EXPECT_EQ("again", received);
}

TEST_F(NetworkAddress, ReadAndWriteRunTogetherOnTwoThreads)
{
    LoopbackPeer peer(LoopbackPeer::Echo, LoopbackPeer::PortChoice::StreamRange);
    StreamOn(peer);
    stream->SetReadTimeout(10000);
    ASSERT_EQ(0u, stream->Open());

    std::string sent;
    for (int i = 0; i < 2000; ++i) {
        sent += "line " + std::to_string(i) + "\n";
    }
    std::atomic<bool> writeFailed{false};
    std::thread writer([&] {
        for (size_t at = 0; at < sent.size(); at += 1000) {
            unsigned long written = 0;
            const unsigned long size = static_cast<unsigned long>(std::min<size_t>(1000, sent.size() - at));
            if (stream->Write(sent.data() + at, size, &written) != 0 || written != size) {
                writeFailed = true;
                return;
            }
        }
    });
    std::string echoed;
    char buffer[4096];
    while (echoed.size() < sent.size()) {
        unsigned long read = 0;
        if (stream->Read(buffer, sizeof(buffer), &read) != 0) {
            break;
        }
        echoed.append(buffer, read);
    }
    writer.join();
    EXPECT_FALSE(writeFailed);
    EXPECT_TRUE(echoed == sent);
}

TEST_F(NetworkAddress, CloseThenReadOpensAgain)
{
    LoopbackPeer peer(LoopbackPeer::Reply("hi"), LoopbackPeer::PortChoice::StreamRange);
    StreamOn(peer);
    ASSERT_EQ(0u, stream->Open());
    EXPECT_EQ(0u, stream->Close());
    char buffer[4];
    unsigned long read = 0;
    stream->SetReadTimeout(5000);
    EXPECT_EQ(0u, stream->Read(buffer, sizeof(buffer), &read));
    EXPECT_EQ("hi", std::string(buffer, read));
    EXPECT_TRUE(peer.WaitAccepted(2));
}

}  // namespace
