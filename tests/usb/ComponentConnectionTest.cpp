// The connection through a component library, on the stand-ins carrying
// the bytes to the virtual printer's configuration function: transfers,
// their repeats and time-outs, the library's statuses, open and close.
#include <gtest/gtest.h>

#include <windows.h>

#include "ComponentLibraries.h"
#include "UsbFixture.h"
#include "iostack/FXVarloChannelLoader.h"
#include "iostack/VarloDeviceConnection.h"
#include "iostack/VarloLoader.h"

using namespace QVIOStack;
using namespace QVDeviceManager;
using Orvane::FXVarloChannelLoader;
using Orvane::VarloDeviceConnection;
using Orvane::VarloLoader;

namespace usb_test {

namespace {

// A connection through the FX channel library, with its one reference.
class HeldConnection {
public:
    explicit HeldConnection(const wchar_t* address = L"USB031")
        : m_connection(new VarloDeviceConnection(new FXVarloChannelLoader()))
    {
        m_connection->AddRef();
        m_connection->Initialize(address);
    }
    ~HeldConnection() { m_connection->Dispose(); }
    HeldConnection(const HeldConnection&) = delete;
    HeldConnection& operator=(const HeldConnection&) = delete;
    VarloDeviceConnection* operator->() { return m_connection; }

private:
    VarloDeviceConnection* m_connection;
};

class ComponentConnection : public UsbFixture {
protected:
    static std::wstring ConfigPath() { return Device().PathOf(FUNCTION_TYPE_CONFIG); }
    static std::string ConfigReceived()
    {
        const std::vector<unsigned char> bytes = Printer().Received(USBPRINTER_FUNCTION_CONFIG);
        return std::string(bytes.begin(), bytes.end());
    }
    void TearDown() override
    {
        EXPECT_FALSE(ComponentLibraries::AnyLoaded()) << "a connection did not free its library";
        UsbFixture::TearDown();
    }
};

TEST_F(ComponentConnection, WritesAndReadsReachTheDeviceThroughTheLibrary)
{
    doubles::ModuleLogFile& log = Log(L"component-transfer");
    ComponentLibraries libraries(L"all", ConfigPath());
    HeldConnection connection;
    ASSERT_EQ(connection->Open(nullptr), 0UL);
    EXPECT_TRUE(connection->IsOpen());
    unsigned long written = 0;
    EXPECT_EQ(connection->Write("GET /", 5, &written, nullptr), 0UL);
    EXPECT_EQ(written, 5UL);
    EXPECT_EQ(ConfigReceived(), "GET /");
    Printer().Supply(USBPRINTER_FUNCTION_CONFIG, "200 OK", 6);
    char buffer[64] = {};
    unsigned long read = 0;
    EXPECT_EQ(connection->Read(buffer, sizeof buffer, &read, nullptr), 0UL);
    EXPECT_EQ(std::string(buffer, read), "200 OK");
    EXPECT_EQ(connection->Close(), 0UL);
    EXPECT_FALSE(connection->IsOpen());
    const std::string calls = ComponentLibraries::Calls();
    EXPECT_EQ(calls.rfind("FXVarloChannel.dll:OpenBulk(USB031);FXVarloChannel.dll:SetTimeout(", 0), 0U) << calls;
    EXPECT_NE(calls.find(");FXVarloChannel.dll:WriteBulk(5);FXVarloChannel.dll:SetTimeout("), std::string::npos);
    EXPECT_NE(calls.find(");FXVarloChannel.dll:ReadBulk(64);FXVarloChannel.dll:CloseBulk();"), std::string::npos);
    // Each transfer's bytes follow its line, after a line break.
    EXPECT_TRUE(log.InOrder({L"(I0) WriteBulk attempt 1 succeeded with 5 bytes", L"(I7) ", L"GET /",
                             L"(I0) ReadBulk attempt 1 succeeded with 6 bytes", L"(I7) ", L"200 OK"}));
}

TEST_F(ComponentConnection, ReadWithATimeoutOfZeroRunsNoAttemptAndTakesTheLastStatus)
{
    doubles::ModuleLogFile& log = Log(L"component-read-zero");
    ComponentLibraries libraries(L"all", ConfigPath());
    HeldConnection connection;
    connection->SetReadTimeout(0);
    char buffer[8];
    unsigned long read = 0;
    EXPECT_EQ(connection->Read(buffer, sizeof buffer, &read, nullptr), IOError_Fail);
    EXPECT_EQ(ComponentLibraries::Calls(), "FXVarloChannel.dll:GetLastStatus(0);");
    EXPECT_EQ(log.Count(L"(I0) Read timeout after 0 ms"), 1U);
    EXPECT_EQ(log.Count(L"(##) GetLastStatus returned 0"), 1U);
    EXPECT_EQ(log.Count(L"(I0) ReadBulk attempt 1 succeeded with 8 bytes"), 0U);
}

TEST_F(ComponentConnection, ReadBulkThatGivesTrueWithNoBytesIsRepeatedUntilTheTimeRunsOut)
{
    doubles::ModuleLogFile& log = Log(L"component-read-empty");
    ComponentLibraries libraries(L"all", ConfigPath());
    libraries.Empty("ReadBulk");
    HeldConnection connection;
    ASSERT_EQ(connection->Open(nullptr), 0UL);
    connection->SetReadTimeout(500);
    char buffer[8];
    unsigned long read = 0;
    const DWORD start = GetTickCount();
    EXPECT_EQ(connection->Read(buffer, sizeof buffer, &read, nullptr), IOError_Fail);
    EXPECT_GE(GetTickCount() - start, 500UL);
    EXPECT_EQ(read, 0UL);
    EXPECT_EQ(log.Count(L"(I0) ReadBulk attempt 1 succeeded with 0 bytes"), 1U);
    EXPECT_EQ(log.Count(L"(I0) ReadBulk attempt 2 succeeded with 0 bytes"), 1U);
    EXPECT_EQ(log.Count(L"(I0) Read timeout after 500 ms"), 1U);
    EXPECT_EQ(Printer().ReadSizes(USBPRINTER_FUNCTION_CONFIG), std::vector<unsigned long>{});
}

TEST_F(ComponentConnection, AFailedWriteIsRepeatedAtOnceAndTheLibrarysStatusDecides)
{
    doubles::ModuleLogFile& log = Log(L"component-write-fail");
    ComponentLibraries libraries(L"all", ConfigPath());
    HeldConnection connection;
    ASSERT_EQ(connection->Open(nullptr), 0UL);
    libraries.Fail("WriteBulk=1460");
    connection->SetWriteTimeout(500);
    unsigned long written = 0;
    EXPECT_EQ(connection->Write("abc", 3, &written, nullptr), IOError_Timeout);
    EXPECT_EQ(log.Count(L"(I0) WriteBulk attempt 1 failed with 0 bytes"), 1U);
    EXPECT_EQ(log.Count(L"(I0) WriteBulk attempt 2 failed with 0 bytes"), 1U);
    EXPECT_EQ(log.Count(L"(I0) Write timeout after 500 ms"), 1U);
    EXPECT_EQ(log.Count(L"(##) GetLastStatus returned 1460"), 1U);
    EXPECT_EQ(ConfigReceived(), "");
}

// The device answers nothing: the library waits out the time it was given.
TEST_F(ComponentConnection, ASilentDeviceTimesTheReadOutWithTheRemainingTimeGivenToTheLibrary)
{
    doubles::ModuleLogFile& log = Log(L"component-silent");
    ComponentLibraries libraries(L"all", ConfigPath());
    HeldConnection connection;
    ASSERT_EQ(connection->Open(nullptr), 0UL);
    ComponentLibraries::Calls();
    connection->SetReadTimeout(500);
    char buffer[8];
    unsigned long read = 0;
    EXPECT_EQ(connection->Read(buffer, sizeof buffer, &read, nullptr), IOError_Timeout);
    const std::string calls = ComponentLibraries::Calls();
    const size_t timeout = calls.find("FXVarloChannel.dll:SetTimeout(");
    ASSERT_EQ(timeout, 0U) << calls;
    const unsigned long given = std::stoul(calls.substr(30));
    EXPECT_GT(given, 400UL);
    EXPECT_LE(given, 501UL);
    EXPECT_NE(calls.find("FXVarloChannel.dll:ReadBulk(8);"), std::string::npos);
    EXPECT_NE(calls.find("FXVarloChannel.dll:GetLastStatus(1460);"), std::string::npos);
    EXPECT_EQ(log.Count(L"(I0) ReadBulk attempt 1 failed with 0 bytes"), 1U);
    EXPECT_EQ(log.Count(L"(I0) Read timeout after 500 ms"), 1U);
}

TEST_F(ComponentConnection, TheLibrarysLastStatusMapsToTheIOStatuses)
{
    doubles::ModuleLogFile& log = Log(L"component-statuses");
    ComponentLibraries libraries(L"all", ConfigPath());
    const std::pair<const char*, unsigned long> cases[] = {
        {"OpenBulk=55", IOError_DeviceGone}, {"OpenBulk=170", IOError_Busy},  {"OpenBulk=995", IOError_Aborted},
        {"OpenBulk=1460", IOError_Timeout},  {"OpenBulk=5", IOError_Fail},   {"OpenBulk=0", IOError_Fail}};
    HeldConnection connection;
    for (const auto& [failure, status] : cases) {
        libraries.Fail(failure);
        EXPECT_EQ(connection->Open(nullptr), status) << failure;
        EXPECT_FALSE(connection->IsOpen());
    }
    for (const wchar_t* line : {L"(##) GetLastStatus returned 55", L"(##) GetLastStatus returned 170",
                                L"(##) GetLastStatus returned 995", L"(##) GetLastStatus returned 1460",
                                L"(##) GetLastStatus returned 5", L"(##) GetLastStatus returned 0"}) {
        EXPECT_EQ(log.Count(line), 1U) << line;
    }
}

TEST_F(ComponentConnection, OpenTwiceAndCloseOnceLeavesTheConnectionClosed)
{
    ComponentLibraries libraries(L"all", ConfigPath());
    HeldConnection connection;
    EXPECT_EQ(connection->Open(nullptr), 0UL);
    EXPECT_EQ(connection->Open(nullptr), 0UL);
    EXPECT_EQ(connection->Close(), 0UL);
    EXPECT_FALSE(connection->IsOpen());
    EXPECT_EQ(connection->Close(), 0UL);
    EXPECT_EQ(ComponentLibraries::Calls(), "FXVarloChannel.dll:OpenBulk(USB031);FXVarloChannel.dll:CloseBulk();");
}

TEST_F(ComponentConnection, AFailedCloseGivesTheLastStatusAndStillCloses)
{
    ComponentLibraries libraries(L"all", ConfigPath());
    HeldConnection connection;
    ASSERT_EQ(connection->Open(nullptr), 0UL);
    libraries.Fail("CloseBulk=170");
    EXPECT_EQ(connection->Close(), IOError_Busy);
    EXPECT_FALSE(connection->IsOpen());
}

TEST_F(ComponentConnection, InitializeClosesAndTakesTheNewPortText)
{
    ComponentLibraries libraries(L"all", ConfigPath());
    HeldConnection connection;
    ASSERT_EQ(connection->Open(nullptr), 0UL);
    EXPECT_EQ(connection->Initialize(L"USB099"), 0UL);
    EXPECT_FALSE(connection->IsOpen());
    ASSERT_EQ(connection->Open(nullptr), 0UL);
    EXPECT_EQ(ComponentLibraries::Calls(),
              "FXVarloChannel.dll:OpenBulk(USB031);FXVarloChannel.dll:CloseBulk();FXVarloChannel.dll:OpenBulk(USB099);");
}

TEST_F(ComponentConnection, WithoutALibraryOpenFailsWithIOErrorFail)
{
    doubles::ModuleLogFile& log = Log(L"component-none");
    ComponentLibraries libraries(L"none", ConfigPath());
    HeldConnection connection;
    EXPECT_EQ(connection->Open(nullptr), IOError_Fail);
    EXPECT_FALSE(connection->IsOpen());
    EXPECT_EQ(log.Count(L"(##) GetLastStatus returned 0"), 1U);
}

TEST_F(ComponentConnection, ANullBufferGivesTheLastStatusWithoutACall)
{
    ComponentLibraries libraries(L"all", ConfigPath());
    HeldConnection connection;
    ASSERT_EQ(connection->Open(nullptr), 0UL);
    libraries.Fail("OpenBulk=995");
    connection->Open(nullptr);  // already open: no call, the status stays
    ComponentLibraries::Calls();
    unsigned long count = 0;
    EXPECT_EQ(connection->Read(nullptr, 4, &count, nullptr), IOError_Fail);
    EXPECT_EQ(connection->Write("x", 1, nullptr, nullptr), IOError_Fail);
    EXPECT_EQ(ComponentLibraries::Calls(), "FXVarloChannel.dll:GetLastStatus(0);FXVarloChannel.dll:GetLastStatus(0);");
}

TEST_F(ComponentConnection, TheFixedAnswers)
{
    ComponentLibraries libraries(L"none");
    HeldConnection connection;
    EXPECT_EQ(connection->Clone(false), nullptr);
    EXPECT_EQ(connection->Initialize(&Device().Device(), {FUNCTION_TYPE_CONFIG}), IOError_Fail);
    EXPECT_FALSE(connection->IsHTTPCapable());
    EXPECT_EQ(connection->Navigate(nullptr, nullptr, nullptr), IOError_Fail);
    EXPECT_STREQ(connection->GetAddress(), L"localhost");
    EXPECT_EQ(connection->GetPort(), nullptr);
    EXPECT_EQ(connection->GetServiceAddress(), nullptr);
    EXPECT_EQ(connection->GetOpenTimeout(), 0UL);
    EXPECT_EQ(connection->GetReadTimeout(), 8000UL);
    EXPECT_EQ(connection->GetWriteTimeout(), 8000UL);
}

TEST_F(ComponentConnection, TheBulkLibraryCarriesTheBytesToo)
{
    ComponentLibraries libraries(L"all", ConfigPath());
    VarloDeviceConnection* connection = new VarloDeviceConnection(new VarloLoader());
    connection->AddRef();
    connection->Initialize(L"USB035");
    ASSERT_EQ(connection->Open(nullptr), 0UL);
    unsigned long written = 0;
    EXPECT_EQ(connection->Write("status?", 7, &written, nullptr), 0UL);
    EXPECT_EQ(ConfigReceived(), "status?");
    connection->Dispose();
    const std::string calls = ComponentLibraries::Calls();
    EXPECT_EQ(calls.rfind("zqcvarlo.dll:OpenBulk(USB035);", 0), 0U) << calls;
    EXPECT_NE(calls.find("zqcvarlo.dll:CloseBulk();"), std::string::npos) << "the last reference closes it";
}

}  // namespace

}  // namespace usb_test
