// A host's view: only the public header and the DLL's import library.
#include <gtest/gtest.h>

#include <string>

#include "orvane64.h"
#include "peers/LoopbackPeer.h"

using peers::LoopbackPeer;

namespace {

TEST(Host, WritesAndReadsThroughAnAddressAndAStream)
{
    LoopbackPeer peer(LoopbackPeer::Echo, LoopbackPeer::PortChoice::StreamRange);
    Orvane::Address* address = Orvane::CreateAddressFromIPAddress(L"127.0.0.1");
    ASSERT_NE(nullptr, address);
    EXPECT_STREQ(L"127.0.0.1", address->GetAddress());

    Orvane::Stream* stream = nullptr;
    ASSERT_EQ(0u, address->CreateStream(peer.Port(), &stream));
    ASSERT_NE(nullptr, stream);
    EXPECT_EQ(30000u, stream->GetOpenTimeout());
    stream->SetReadTimeout(5000);
    EXPECT_EQ(5000u, stream->GetReadTimeout());

    unsigned long written = 0;
    EXPECT_EQ(0u, stream->Write("ping", 4, &written));
    EXPECT_EQ(4u, written);
    EXPECT_EQ(4u, stream->BytesAvailable());
    char buffer[8] = {};
    unsigned long read = 0;
    EXPECT_EQ(0u, stream->Read(buffer, sizeof(buffer), &read));
    EXPECT_EQ("ping", std::string(buffer, read));
    EXPECT_EQ(0u, stream->GetSystemErrorCode());

    EXPECT_EQ(0u, address->Dispose());
    EXPECT_EQ(0u, stream->Close());
    EXPECT_EQ(0u, stream->Dispose());
}

TEST(Host, ReadTimeoutIsReportedAsTheSystemError)
{
    LoopbackPeer peer(LoopbackPeer::Silent, LoopbackPeer::PortChoice::StreamRange);
    Orvane::Address* address = Orvane::CreateAddressFromIPAddress(L"127.0.0.1");
    Orvane::Stream* stream = nullptr;
    ASSERT_EQ(0u, address->CreateStream(peer.Port(), &stream));
    stream->SetReadTimeout(100);
    char buffer[8];
    unsigned long read = 7;
    EXPECT_EQ(static_cast<unsigned long>(E_FAIL), stream->Read(buffer, sizeof(buffer), &read));
    EXPECT_EQ(0u, read);
    EXPECT_EQ(static_cast<unsigned long>(ERROR_TIMEOUT), stream->GetSystemErrorCode());
    stream->Dispose();
    address->Dispose();
}

TEST(Host, PortsOutsideTheStreamRangeGiveNoStream)
{
    Orvane::Address* address = Orvane::CreateAddressFromIPAddress(L"192.0.2.7");
    ASSERT_NE(nullptr, address);
    Orvane::Stream* stream = nullptr;
    EXPECT_EQ(0u, address->CreateStream(79, &stream));
    EXPECT_EQ(nullptr, stream);
    Orvane::Notifier* notifier = nullptr;
    EXPECT_EQ(static_cast<unsigned long>(E_FAIL), address->CreateNotifier(&notifier));
    EXPECT_EQ(nullptr, notifier);
    EXPECT_EQ(0u, address->Dispose());
}

}  // namespace
