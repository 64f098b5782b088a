// Sessions of the client on a scripted connection: the mapping of an Open
// failure, the retry while the channel is busy, Close, and the hold on the
// connection.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "doubles/ApiOverride.h"
#include "doubles/ClockKernel.h"
#include "doubles/MockDeviceConnection.h"
#include "doubles/ScriptedProgress.h"
#include "http/CHTTPClient.h"
#include "http/HTTPStatus.h"
#include "iostack/IOStatus.h"

using namespace QVIOStack;
using doubles::ApiOverride;
using doubles::ClockKernel;
using doubles::MockDeviceConnection;
using doubles::ScriptedProgress;
using ::testing::_;
using ::testing::NiceMock;
using ::testing::Return;

namespace {

struct Session : ::testing::Test {
    void SetUp() override
    {
        connection = new NiceMock<MockDeviceConnection>(&destroyed);
        connection->AddRef();
        client = std::make_unique<CHTTPClient>(connection);
        connection->Dispose();
    }
    void TearDown() override
    {
        client.reset();
        EXPECT_TRUE(destroyed);
    }

    bool destroyed = false;
    NiceMock<MockDeviceConnection>* connection = nullptr;
    std::unique_ptr<CHTTPClient> client;
    ClockKernel kernel;
    ApiOverride<QVWinApi::IKernelApi> swap{g_pKernelApi, kernel};
};

struct OpenFailure {
    unsigned long ioStatus;
    unsigned long httpStatus;
};

class OpenMapping : public Session, public ::testing::WithParamInterface<OpenFailure> {};

TEST_P(OpenMapping, GivesTheClientStatus)
{
    EXPECT_CALL(*connection, Open(nullptr)).WillOnce(Return(GetParam().ioStatus));
    EXPECT_EQ(GetParam().httpStatus, client->OpenSession(nullptr, 0));
}

INSTANTIATE_TEST_SUITE_P(EachIOError, OpenMapping,
                         ::testing::Values(OpenFailure{0, 0}, OpenFailure{IOError_DeviceGone, Error_Device_Gone},
                                           OpenFailure{IOError_Aborted, Error_Aborted},
                                           OpenFailure{0x83E8FFF4, Error_Connection},
                                           OpenFailure{IOError_Busy, Error_Device_Busy},
                                           OpenFailure{IOError_Fail, Error_Open_Fail},
                                           OpenFailure{IOError_Timeout, Error_Open_Fail},
                                           OpenFailure{0x80004005, Error_Open_Fail}));

TEST(HTTPStatus, ValuesOfTheFamily)
{
    EXPECT_EQ(0x83E8F5FFu, Error_Fail);
    EXPECT_EQ(0x83E8F5FEu, Error_InvalidArgument);
    EXPECT_EQ(0x83E8F5FDu, Error_Timeout);
    EXPECT_EQ(0x83E8F5FCu, Error_Open_Fail);
    EXPECT_EQ(0x83E8F5FBu, Error_Close_Fail);
    EXPECT_EQ(0x83E8F5FAu, Error_IO_Read_Fail);
    EXPECT_EQ(0x83E8F5F9u, Error_IO_Write_Fail);
    EXPECT_EQ(0x83E8F5F8u, Error_OutOfMemory);
    EXPECT_EQ(0x83E8F5F7u, Error_NoLocation);
    EXPECT_EQ(0x83E8F5F6u, Error_BadLocation);
    EXPECT_EQ(0x83E8F5F5u, Error_ContentBufferFull);
    EXPECT_EQ(0x83E8F5F4u, Error_Device_Busy);
    EXPECT_EQ(0x83E8F5F3u, Error_Device_Gone);
    EXPECT_EQ(0x83E8FFFEu, Error_Aborted);
    EXPECT_EQ(0x83E8FFF4u, Error_Connection);
    EXPECT_TRUE(IsHTTPFailure(Error_Connection));
    EXPECT_FALSE(IsHTTPFailure(1));
    EXPECT_FALSE(IsHTTPFailure(0));
}

TEST_F(Session, BusyWithTimeout0ReturnsAtOnce)
{
    EXPECT_CALL(*connection, Open(_)).WillOnce(Return(IOError_Busy));
    EXPECT_EQ(Error_Device_Busy, client->OpenSession(nullptr, 0));
    EXPECT_TRUE(kernel.sleeps.empty());
}

TEST_F(Session, BusyRetryPausesAndStopsWhenTheProgressSaysSo)
{
    int asked = 0;
    ScriptedProgress progress([&asked](double, unsigned long) { return ++asked < 3; });
    EXPECT_CALL(*connection, Open(&progress)).Times(3).WillRepeatedly(Return(IOError_Busy));
    EXPECT_EQ(Error_Aborted, client->OpenSession(&progress, 0xFFFFFFFF));
    EXPECT_EQ((std::vector<DWORD>{200, 200, 200}), kernel.sleeps);
    EXPECT_EQ((std::vector<unsigned long>{0, 0, 0}), progress.codes);
}

TEST_F(Session, BusyRetryEndsWithBusyAtTheDeadline)
{
    EXPECT_CALL(*connection, Open(nullptr)).Times(5).WillRepeatedly(Return(IOError_Busy));
    EXPECT_EQ(Error_Device_Busy, client->OpenSession(nullptr, 1000));
    EXPECT_EQ(5u, kernel.sleeps.size());
    EXPECT_EQ(2000u, kernel.now);
}

TEST_F(Session, BusyRetrySucceedsWhenTheChannelIsFree)
{
    EXPECT_CALL(*connection, Open(nullptr))
        .WillOnce(Return(IOError_Busy))
        .WillOnce(Return(IOError_Busy))
        .WillOnce(Return(0));
    EXPECT_EQ(0u, client->OpenSession(nullptr, 5000));
    EXPECT_EQ((std::vector<DWORD>{200, 200}), kernel.sleeps);
}

TEST_F(Session, OtherFailuresAreNotRetried)
{
    EXPECT_CALL(*connection, Open(nullptr)).WillOnce(Return(IOError_DeviceGone));
    EXPECT_EQ(Error_Device_Gone, client->OpenSession(nullptr, 5000));
    EXPECT_TRUE(kernel.sleeps.empty());
}

TEST_F(Session, CloseFailureIsCloseFail)
{
    EXPECT_CALL(*connection, Close()).WillOnce(Return(0)).WillOnce(Return(IOError_Fail));
    EXPECT_EQ(0u, client->CloseSession());
    EXPECT_EQ(Error_Close_Fail, client->CloseSession());
}

TEST_F(Session, InitializeClosesAndReleasesTheConnectionHeldBefore)
{
    EXPECT_EQ(Error_InvalidArgument, client->Initialize(nullptr));
    EXPECT_EQ(connection, client->GetDeviceConnection());

    bool secondDestroyed = false;
    auto* second = new NiceMock<MockDeviceConnection>(&secondDestroyed);
    second->AddRef();
    EXPECT_CALL(*connection, Close()).WillOnce(Return(0));
    EXPECT_EQ(0u, client->Initialize(second));
    EXPECT_TRUE(destroyed);
    EXPECT_EQ(second, client->GetDeviceConnection());
    EXPECT_EQ(1u, second->Dispose());
    client.reset();
    EXPECT_TRUE(secondDestroyed);
}

TEST(SessionWithoutConnection, IsAnInvalidArgument)
{
    CHTTPClient client;
    EXPECT_EQ(nullptr, client.GetDeviceConnection());
    EXPECT_EQ(Error_InvalidArgument, client.OpenSession(nullptr, 0));
    EXPECT_EQ(Error_InvalidArgument, client.CloseSession());
    EXPECT_EQ(Error_InvalidArgument, client.Navigate(L"/a", 0, nullptr));
}

}  // namespace
