// The stream façade: on a scripted connection for its exact rules, and on
// loopback sockets end to end.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>

#include "api/QVNetAddress.h"
#include "api/QVStream.h"
#include "doubles/MockDeviceConnection.h"
#include "iostack/IOStatus.h"
#include "peers/LoopbackPeer.h"

using namespace Orvane;
using namespace QVIOStack;
using doubles::MockDeviceConnection;
using peers::LoopbackPeer;
using ::testing::_;
using ::testing::DoAll;
using ::testing::InSequence;
using ::testing::NiceMock;
using ::testing::Return;
using ::testing::SetArgPointee;

namespace {

// Fills a read with the given bytes.
auto Deliver(std::string bytes)
{
    return [bytes](void* buffer, unsigned long size, unsigned long* read, QVUtils::IProgress*) {
        const unsigned long n = std::min<unsigned long>(size, static_cast<unsigned long>(bytes.size()));
        std::memcpy(buffer, bytes.data(), n);
        *read = n;
        return 0UL;
    };
}

struct ScriptedStream : ::testing::Test {
    ScriptedStream()
    {
        connection = new NiceMock<MockDeviceConnection>(&connectionDestroyed);
        ON_CALL(*connection, IsOpen()).WillByDefault(Return(true));
        stream = new QVStream(connection);
        stream->AddRef();
    }
    ~ScriptedStream() override
    {
        // What the test expected is settled before the stream goes, so that
        // the stream's own closing calls don't count against it.
        ::testing::Mock::VerifyAndClearExpectations(connection);
        if (stream) {
            stream->Dispose();
        }
    }
    bool connectionDestroyed = false;
    NiceMock<MockDeviceConnection>* connection;
    QVStream* stream;
};

TEST_F(ScriptedStream, HoldsOneReferenceOnItsConnectionUntilDestroyed)
{
    EXPECT_EQ(2u, connection->AddRef());
    EXPECT_EQ(1u, connection->Dispose());
    EXPECT_CALL(*connection, Close()).WillOnce(Return(0));
    stream->Dispose();
    stream = nullptr;
    EXPECT_TRUE(connectionDestroyed);
}

TEST_F(ScriptedStream, BytesAvailableFillsTheReadAheadThatReadServesWithoutTheConnection)
{
    EXPECT_CALL(*connection, Read(_, QVStream::kReadAheadSize, _, nullptr)).WillOnce(Deliver("xyz"));
    EXPECT_EQ(3u, stream->BytesAvailable());
    EXPECT_EQ(3u, stream->BytesAvailable());  // still waiting: not read again

    char buffer[8] = {};
    unsigned long read = 0;
    EXPECT_CALL(*connection, LockRead()).Times(2);
    EXPECT_CALL(*connection, UnlockRead()).Times(2);
    EXPECT_EQ(0u, stream->Read(buffer, 2, &read));
    EXPECT_EQ(2u, read);
    EXPECT_EQ("xy", std::string(buffer, 2));
    // Larger than what is left: only the one byte left, the connection untouched.
    EXPECT_EQ(0u, stream->Read(buffer, 8, &read));
    EXPECT_EQ(1u, read);
    EXPECT_EQ('z', buffer[0]);
}

TEST_F(ScriptedStream, BytesAvailableWithNothingArrivingIsZero)
{
    EXPECT_CALL(*connection, Read(_, _, _, _)).WillOnce(Return(IOError_Timeout));
    EXPECT_EQ(0u, stream->BytesAvailable());
    EXPECT_EQ(1460u, stream->GetSystemErrorCode());
}

TEST_F(ScriptedStream, FailedWriteLeavesTheSystemErrorOfTheLastRead)
{
    EXPECT_CALL(*connection, Read(_, _, _, _)).WillOnce(Return(IOError_Timeout));
    char buffer[4];
    unsigned long count = 0;
    EXPECT_EQ(E_FAIL, stream->Read(buffer, 4, &count));
    EXPECT_EQ(0u, count);
    EXPECT_CALL(*connection, Write(_, _, _, _)).WillOnce(Return(IOError_DeviceGone));
    EXPECT_EQ(E_FAIL, stream->Write("x", 1, &count));
    EXPECT_EQ(1460u, stream->GetSystemErrorCode());
}

TEST_F(ScriptedStream, FailedWriteLeavesTheSystemErrorOfTheLastClose)
{
    EXPECT_CALL(*connection, Close()).WillOnce(Return(IOError_Busy)).WillRepeatedly(Return(0));
    EXPECT_EQ(E_FAIL, stream->Close());
    unsigned long count = 0;
    EXPECT_CALL(*connection, Write(_, _, _, _)).WillOnce(Return(IOError_Fail));
    EXPECT_EQ(E_FAIL, stream->Write("x", 1, &count));
    EXPECT_EQ(170u, stream->GetSystemErrorCode());
}

TEST_F(ScriptedStream, FailedWriteLeavesTheSystemErrorOfTheLastOpen)
{
    // The write opens the closed connection, which succeeds, then fails.
    EXPECT_CALL(*connection, Close()).WillOnce(Return(IOError_Busy)).WillRepeatedly(Return(0));
    EXPECT_EQ(E_FAIL, stream->Close());
    EXPECT_EQ(170u, stream->GetSystemErrorCode());
    EXPECT_CALL(*connection, IsOpen()).WillOnce(Return(false)).WillRepeatedly(Return(true));
    EXPECT_CALL(*connection, Open(nullptr)).WillOnce(Return(0));
    EXPECT_CALL(*connection, Write(_, _, _, _)).WillOnce(Return(IOError_Timeout));
    unsigned long count = 0;
    EXPECT_EQ(E_FAIL, stream->Write("x", 1, &count));
    EXPECT_EQ(0u, stream->GetSystemErrorCode());
}

TEST_F(ScriptedStream, SystemErrorCodeTranslatesTheLastStatus)
{
    const std::pair<unsigned long, unsigned long> table[] = {
        {0, 0}, {IOError_DeviceGone, 55}, {IOError_Busy, 170}, {IOError_Aborted, 995},
        {IOError_Timeout, 1460}, {IOError_Fail, 31}, {0x12345678, 31},
    };
    for (const auto& [status, systemError] : table) {
        EXPECT_CALL(*connection, Close()).WillOnce(Return(status));
        stream->Close();
        EXPECT_EQ(systemError, stream->GetSystemErrorCode()) << std::hex << status;
    }
}

TEST_F(ScriptedStream, OpenOnAnOpenConnectionClosesItAndOpensAgain)
{
    InSequence order;
    EXPECT_CALL(*connection, IsOpen()).WillOnce(Return(true));
    EXPECT_CALL(*connection, Close()).WillOnce(Return(0));
    EXPECT_CALL(*connection, Open(nullptr)).WillOnce(Return(0));
    EXPECT_CALL(*connection, IsOpen()).WillOnce(Return(true));
    EXPECT_EQ(0u, stream->Open());
}

TEST_F(ScriptedStream, OpenAnswersFromTheConnectionStateNotFromItsStatus)
{
    InSequence order;
    EXPECT_CALL(*connection, IsOpen()).WillOnce(Return(false));
    EXPECT_CALL(*connection, Open(nullptr)).WillOnce(Return(IOError_Timeout));
    EXPECT_CALL(*connection, IsOpen()).WillOnce(Return(true));
    EXPECT_EQ(0u, stream->Open());
    EXPECT_EQ(1460u, stream->GetSystemErrorCode());

    EXPECT_CALL(*connection, IsOpen()).WillOnce(Return(false));
    EXPECT_CALL(*connection, Open(nullptr)).WillOnce(Return(0));
    EXPECT_CALL(*connection, IsOpen()).WillOnce(Return(false));
    EXPECT_EQ(E_FAIL, stream->Open());
}

TEST_F(ScriptedStream, WriteOnAClosedConnectionOpensItFirstAndFailsWithItsOpen)
{
    EXPECT_CALL(*connection, IsOpen()).WillRepeatedly(Return(false));
    EXPECT_CALL(*connection, Open(nullptr)).WillOnce(Return(IOError_Timeout));
    EXPECT_CALL(*connection, Write(_, _, _, _)).Times(0);
    unsigned long count = 0;
    EXPECT_EQ(E_FAIL, stream->Write("x", 1, &count));
    EXPECT_EQ(1460u, stream->GetSystemErrorCode());
}

TEST_F(ScriptedStream, WriteIsBracketedByTheWriteLock)
{
    InSequence order;
    EXPECT_CALL(*connection, IsOpen()).WillOnce(Return(true));
    EXPECT_CALL(*connection, LockWrite());
    EXPECT_CALL(*connection, Write(_, 5, _, nullptr)).WillOnce(DoAll(SetArgPointee<2>(5), Return(0)));
    EXPECT_CALL(*connection, UnlockWrite());
    unsigned long count = 0;
    EXPECT_EQ(0u, stream->Write("hello", 5, &count));
    EXPECT_EQ(5u, count);
}

TEST_F(ScriptedStream, ReadAheadBytesSurviveClose)
{
    EXPECT_CALL(*connection, Read(_, _, _, _)).WillOnce(Deliver("ab"));
    EXPECT_EQ(2u, stream->BytesAvailable());
    EXPECT_CALL(*connection, Close()).WillOnce(Return(0));
    EXPECT_EQ(0u, stream->Close());
    char buffer[4];
    unsigned long count = 0;
    EXPECT_EQ(0u, stream->Read(buffer, 4, &count));
    EXPECT_EQ("ab", std::string(buffer, count));
}

TEST_F(ScriptedStream, TimeoutsForwardToTheConnection)
{
    EXPECT_CALL(*connection, SetOpenTimeout(11u));
    EXPECT_CALL(*connection, SetReadTimeout(22u));
    EXPECT_CALL(*connection, SetWriteTimeout(33u));
    EXPECT_CALL(*connection, GetOpenTimeout()).WillOnce(Return(1u));
    EXPECT_CALL(*connection, GetReadTimeout()).WillOnce(Return(2u));
    EXPECT_CALL(*connection, GetWriteTimeout()).WillOnce(Return(3u));
    stream->SetOpenTimeout(11);
    stream->SetReadTimeout(22);
    stream->SetWriteTimeout(33);
    EXPECT_EQ(1u, stream->GetOpenTimeout());
    EXPECT_EQ(2u, stream->GetReadTimeout());
    EXPECT_EQ(3u, stream->GetWriteTimeout());
}

TEST(NullConnectionStream, OpenFails)
{
    QVStream* stream = new QVStream(nullptr);
    stream->AddRef();
    EXPECT_EQ(E_FAIL, stream->Open());
    EXPECT_EQ(31u, stream->GetSystemErrorCode());
    EXPECT_EQ(0u, stream->Dispose());
}

}  // namespace
