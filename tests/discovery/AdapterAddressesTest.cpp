// The adapter snapshot: Wine's own GetAdaptersAddresses, and a double of the
// IP helper for what a machine under test cannot be made to show (no
// adapter at all, a failing call).
#include <gtest/gtest.h>

#include <cstdio>
#include <vector>

#include "discovery/CAdapterAddresses.h"
#include "doubles/ApiOverride.h"
#include "doubles/ModuleLogFile.h"
#include "logging/LogModules.h"
#include "winapi/CIPHelperApi.h"

using QVDiscovery::CAdapterAddresses;

namespace {

// GetAdaptersAddresses answering with a size and results of the test's.
class ScriptedAdapters : public QVWinApi::CIPHelperApi {
public:
    ULONG GetAdaptersAddresses(ULONG family, ULONG flags, PVOID, PIP_ADAPTER_ADDRESSES buffer,
                               PULONG size) override
    {
        calls.push_back({family, flags});
        if (buffer == nullptr) {
            *size = neededSize;
            return sizeResult;
        }
        if (fillResult == NO_ERROR) {
            ZeroMemory(buffer, *size);
            buffer->IfIndex = 7;
        }
        return fillResult;
    }
    struct Call {
        ULONG family;
        ULONG flags;
    };
    std::vector<Call> calls;
    ULONG neededSize = 0;
    ULONG sizeResult = ERROR_BUFFER_OVERFLOW;
    ULONG fillResult = NO_ERROR;
};

struct AdapterAddresses : ::testing::Test {
    ~AdapterAddresses() override
    {
        if (HasFailure()) {
            std::printf("%ls", log.Text().c_str());
        }
    }
    doubles::ModuleLogFile log{{g_pDiscoveryLibLog}, L"adapter-addresses"};
    ScriptedAdapters helper;
    CAdapterAddresses adapters;
};

}  // namespace

TEST_F(AdapterAddresses, WineListsTheLoopbackAdapter)
{
    ASSERT_TRUE(adapters.Enum());
    bool loopback = false;
    for (PIP_ADAPTER_ADDRESSES adapter = adapters.GetFirst(); adapter != nullptr; adapter = adapter->Next) {
        loopback = loopback || adapter->IfType == IF_TYPE_SOFTWARE_LOOPBACK;
    }
    EXPECT_TRUE(loopback);
}

// Double: every machine under Wine has at least a loopback adapter.
TEST_F(AdapterAddresses, NoAdapterGivesTrueAndNoFirst)
{
    doubles::ApiOverride<QVWinApi::IIPHelperApi> swap(g_pIPHelperApi, helper);
    helper.sizeResult = NO_ERROR;
    EXPECT_TRUE(adapters.Enum());
    EXPECT_EQ(nullptr, adapters.GetFirst());
    ASSERT_EQ(1u, helper.calls.size());
    EXPECT_EQ(0u, helper.calls[0].family);
    EXPECT_EQ(6u, helper.calls[0].flags);
}

// Double: the second snapshot must be one the test chose.
TEST_F(AdapterAddresses, EnumTwiceFreesTheFirstSnapshot)
{
    ASSERT_TRUE(adapters.Enum());
    ASSERT_NE(nullptr, adapters.GetFirst());
    doubles::ApiOverride<QVWinApi::IIPHelperApi> swap(g_pIPHelperApi, helper);
    helper.neededSize = sizeof(IP_ADAPTER_ADDRESSES);
    ASSERT_TRUE(adapters.Enum());
    ASSERT_NE(nullptr, adapters.GetFirst());
    EXPECT_EQ(7u, adapters.GetFirst()->IfIndex);
    helper.neededSize = 0;
    helper.sizeResult = NO_ERROR;
    ASSERT_TRUE(adapters.Enum());
    EXPECT_EQ(nullptr, adapters.GetFirst());
}

// Double: Wine's call does not fail on demand.
TEST_F(AdapterAddresses, FailedSizeQueryIsLogged)
{
    doubles::ApiOverride<QVWinApi::IIPHelperApi> swap(g_pIPHelperApi, helper);
    helper.sizeResult = ERROR_INVALID_PARAMETER;
    EXPECT_FALSE(adapters.Enum());
    EXPECT_EQ(nullptr, adapters.GetFirst());
    EXPECT_EQ(1u, log.Count(L"(##) GetAdaptersAddresses failed (87).\n"));
}

// Double: a size that grows between the two calls, which Wine cannot be
// made to show; there is no second try.
TEST_F(AdapterAddresses, FailedFillFreesAndIsLogged)
{
    doubles::ApiOverride<QVWinApi::IIPHelperApi> swap(g_pIPHelperApi, helper);
    helper.neededSize = sizeof(IP_ADAPTER_ADDRESSES);
    helper.fillResult = ERROR_BUFFER_OVERFLOW;
    EXPECT_FALSE(adapters.Enum());
    EXPECT_EQ(nullptr, adapters.GetFirst());
    EXPECT_EQ(2u, helper.calls.size());
    EXPECT_EQ(1u, log.Count(L"(##) GetAdaptersAddresses failed (111).\n"));
}

TEST_F(AdapterAddresses, ClearDropsTheSnapshot)
{
    ASSERT_TRUE(adapters.Enum());
    adapters.Clear();
    EXPECT_EQ(nullptr, adapters.GetFirst());
}
