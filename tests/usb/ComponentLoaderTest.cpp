// The loaders of the family's component libraries, on the stand-ins: which
// file loads, the entry points and their second forms, and a machine
// without the libraries.
#include <gtest/gtest.h>

#include <windows.h>

#include "ComponentLibraries.h"
#include "iostack/FXVarloChannelLoader.h"
#include "iostack/LibraryLoader.h"
#include "iostack/VarloLoader.h"

using Orvane::FXVarloChannelLoader;
using Orvane::LibraryLoader;
using Orvane::VarloLoader;

namespace usb_test {

namespace {

class ComponentLoader : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_FALSE(ComponentLibraries::AnyLoaded()) << "a library was left loaded"; }
    void TearDown() override { EXPECT_FALSE(ComponentLibraries::AnyLoaded()) << "a loader did not free its library"; }
};

TEST_F(ComponentLoader, TheFirstCandidateLoadsAndTheSecondIsNotTried)
{
    ComponentLibraries libraries(L"all");
    {
        VarloLoader bulk;
        EXPECT_FALSE(bulk.IsLoaded());
        EXPECT_TRUE(bulk.CloseBulk());
        EXPECT_TRUE(bulk.IsLoaded());
        EXPECT_TRUE(ComponentLibraries::Loaded(L"zqcvarlo.dll"));
        EXPECT_FALSE(ComponentLibraries::Loaded(L"zqpvarlo.dll"));
        FXVarloChannelLoader channel;
        EXPECT_TRUE(channel.CloseBulk());
        EXPECT_TRUE(ComponentLibraries::Loaded(L"FXVarloChannel.dll"));
        EXPECT_FALSE(ComponentLibraries::Loaded(L"FXVarloChannel_x64.dll"));
        EXPECT_EQ(ComponentLibraries::Calls(), "zqcvarlo.dll:CloseBulk();FXVarloChannel.dll:CloseBulk();");
    }
}

TEST_F(ComponentLoader, WithoutTheFirstTheSecondLoads)
{
    ComponentLibraries libraries(L"second");
    VarloLoader bulk;
    FXVarloChannelLoader channel;
    EXPECT_TRUE(bulk.CloseBulk());
    EXPECT_TRUE(channel.CloseBulk());
    EXPECT_EQ(ComponentLibraries::Calls(), "zqpvarlo.dll:CloseBulk();FXVarloChannel_x64.dll:CloseBulk();");
}

TEST_F(ComponentLoader, WhenNeitherLoadsTheNextOperationTriesBothAgain)
{
    ComponentLibraries libraries(L"none");
    VarloLoader second;
    VarloLoader first;
    EXPECT_FALSE(second.CloseBulk());
    EXPECT_FALSE(first.CloseBulk());
    EXPECT_FALSE(second.IsLoaded());
    EXPECT_FALSE(first.IsLoaded());
    // The libraries arrive: each loader looks again, at both names.
    libraries.Use(L"second");
    EXPECT_TRUE(second.CloseBulk());
    EXPECT_EQ(ComponentLibraries::Calls(), "zqpvarlo.dll:CloseBulk();");
    libraries.Use(L"first");
    EXPECT_TRUE(first.CloseBulk());
    EXPECT_EQ(ComponentLibraries::Calls(), "zqcvarlo.dll:CloseBulk();");
}

TEST_F(ComponentLoader, AnEntryPointIsTheLibrarysOwnLookedUpByName)
{
    ComponentLibraries libraries(L"all");
    LibraryLoader loader(nullptr, 1, std::vector<const wchar_t*>{L"zqcvarlo.dll"}.data());
    const FARPROC entry = loader.GetProcAddress(L"OpenBulk");
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry, ::GetProcAddress(GetModuleHandleW(L"zqcvarlo.dll"), "OpenBulk"));
    EXPECT_EQ(loader.GetProcAddress(L"NoSuchEntry"), nullptr);
}

TEST_F(ComponentLoader, ALibraryLackingOpenInterruptButHavingItsSecondFormStillServesIt)
{
    ComponentLibraries libraries(L"older");
    VarloLoader loader;
    ASSERT_EQ(loader.GetProcAddress(L"OpenInterrupt"), nullptr) << "the older stand-in has the first form";
    EXPECT_TRUE(loader.OpenInterrupt(L"USB031"));
    EXPECT_TRUE(loader.CancelInterrupt());
    EXPECT_TRUE(loader.CloseInterrupt());
    EXPECT_EQ(ComponentLibraries::Calls(),
              "zqcvarlo.dll:OpenInterrupt(USB031);zqcvarlo.dll:CancelInterrupt();zqcvarlo.dll:CloseInterrupt();");
}

TEST_F(ComponentLoader, TheFirstFormIsPreferredWhenBothWouldDo)
{
    ComponentLibraries libraries(L"all");
    VarloLoader loader;
    libraries.Fail("OpenInterrupt=5");
    EXPECT_FALSE(loader.OpenInterrupt(L"USB031"));
    EXPECT_EQ(ComponentLibraries::Calls(), "zqcvarlo.dll:OpenInterrupt(USB031);");
}

TEST_F(ComponentLoader, AMissingTimeoutEntryGivesZeroAndAPresentOneGivesTheValue)
{
    ComponentLibraries libraries(L"older");
    {
        VarloLoader older;
        EXPECT_EQ(older.SetTimeout(500), 0UL);
        EXPECT_EQ(older.SetOpenTimeout(700), 0UL);
        EXPECT_EQ(ComponentLibraries::Calls(), "");
    }
    libraries.Use(L"all");
    VarloLoader loader;
    EXPECT_EQ(loader.SetTimeout(500), 500UL);
    EXPECT_EQ(loader.SetOpenTimeout(700), 700UL);
    EXPECT_EQ(ComponentLibraries::Calls(), "zqcvarlo.dll:SetTimeout(500);zqcvarlo.dll:SetOpenTimeout(700);");
}

TEST_F(ComponentLoader, WithNoLibraryEveryOperationGivesFalseOrZero)
{
    ComponentLibraries libraries(L"none");
    VarloLoader loader;
    unsigned long size = 4;
    char buffer[4] = {'a', 'b', 'c', 'd'};
    EXPECT_FALSE(loader.OpenBulk(L"USB031"));
    EXPECT_FALSE(loader.WriteBulk(buffer, &size));
    EXPECT_FALSE(loader.ReadBulk(buffer, &size));
    EXPECT_EQ(size, 4UL);
    EXPECT_EQ(loader.BytesAvailable(), 0UL);
    EXPECT_FALSE(loader.CloseBulk());
    EXPECT_EQ(loader.GetLastStatus(), 0UL);
    EXPECT_EQ(loader.SetOpenTimeout(100), 0UL);
    EXPECT_EQ(loader.SetTimeout(100), 0UL);
    EXPECT_FALSE(loader.OpenInterrupt(L"USB031"));
    EXPECT_FALSE(loader.WaitForInterruptEvent(nullptr));
    EXPECT_FALSE(loader.CancelInterrupt());
    EXPECT_FALSE(loader.CloseInterrupt());
    EXPECT_FALSE(loader.ExclusiveBulkLock(nullptr, nullptr, 0));
    EXPECT_FALSE(loader.ExclusiveBulkUnlock(nullptr, nullptr));
    EXPECT_FALSE(loader.IsLoaded());
}

TEST_F(ComponentLoader, TheCallsReachTheLibraryWithTheirArguments)
{
    ComponentLibraries libraries(L"all");
    VarloLoader loader;
    HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    EXPECT_TRUE(loader.WaitForInterruptEvent(event));
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0) << "the stand-in sets the event it is given";
    CloseHandle(event);
    EXPECT_TRUE(loader.ExclusiveBulkLock(reinterpret_cast<void*>(0x1234), reinterpret_cast<void*>(0x5678), 42));
    EXPECT_TRUE(loader.ExclusiveBulkUnlock(reinterpret_cast<void*>(0x1234), reinterpret_cast<void*>(0x5678)));
    EXPECT_EQ(loader.BytesAvailable(), 0UL);
    libraries.Fail("ExclusiveBulkLock=33");
    EXPECT_FALSE(loader.ExclusiveBulkLock(nullptr, nullptr, 7));
    EXPECT_EQ(loader.GetLastStatus(), 33UL);
    EXPECT_EQ(ComponentLibraries::Calls(),
              "zqcvarlo.dll:WaitForInterruptEvent();"
              "zqcvarlo.dll:ExclusiveBulkLock(1234,5678,42);"
              "zqcvarlo.dll:ExclusiveBulkUnlock(1234,5678);"
              "zqcvarlo.dll:BytesAvailable();"
              "zqcvarlo.dll:ExclusiveBulkLock(0,0,7);"
              "zqcvarlo.dll:GetLastStatus(33);");
}

TEST_F(ComponentLoader, ThePortReachesTheLibraryAsEightBitText)
{
    ComponentLibraries libraries(L"all");
    FXVarloChannelLoader loader;
    libraries.Fail("OpenBulk=2");
    EXPECT_FALSE(loader.OpenBulk(L"USB031"));
    EXPECT_FALSE(loader.OpenBulk(L"Drucker \u00fc"));
    EXPECT_EQ(ComponentLibraries::Calls(),
              "FXVarloChannel.dll:OpenBulk(USB031);FXVarloChannel.dll:OpenBulk(Drucker \xc3\xbc);");
}

}  // namespace

}  // namespace usb_test
