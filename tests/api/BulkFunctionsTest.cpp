// The bulk functions' thread slots, and the functions on a thread without a
// channel. The library's entry point makes and frees the slots in a host;
// here, inside the test program, the same calls are made by hand.
#include <gtest/gtest.h>

#include <windows.h>

#include <atomic>
#include <thread>
#include <vector>

#include "api/BulkThreadSlots.h"
#include "doubles/ApiOverride.h"
#include "doubles/ModuleLogFile.h"
#include "logging/LogModules.h"
#include "orvane64_bulk.h"
#include "winapi/CKernelApi.h"

using Orvane::BulkSlot;
using Orvane::BulkThreadSlots;

namespace {

// Counts the slot blocks given out and given back, and can refuse them. A
// double: whether a block went back to the heap is not visible otherwise,
// and Wine's heap does not fail on request.
class SlotHeap : public QVWinApi::CKernelApi {
public:
    HLOCAL LocalAlloc(UINT flags, SIZE_T bytes) override
    {
        if (bytes != sizeof(BulkSlot)) {
            return CKernelApi::LocalAlloc(flags, bytes);
        }
        if (refuse) {
            return nullptr;
        }
        HLOCAL block = CKernelApi::LocalAlloc(flags, bytes);
        given += block != nullptr ? 1 : 0;
        return block;
    }
    HLOCAL LocalFree(HLOCAL block) override
    {
        ++freed;
        return CKernelApi::LocalFree(block);
    }

    std::atomic<int> given{0};
    std::atomic<int> freed{0};
    bool refuse = false;
};

class BulkFunctions : public ::testing::Test {
protected:
    static void SetUpTestSuite() { ASSERT_TRUE(BulkThreadSlots::AllocateIndex()); }
    static void TearDownTestSuite() { BulkThreadSlots::FreeIndex(); }
    void TearDown() override { BulkThreadSlots::FreeSlot(); }
};

TEST_F(BulkFunctions, AThreadsSlotIsFourZeroedWordsAndGoesAtItsEnd)
{
    EXPECT_EQ(sizeof(BulkSlot), 4 * sizeof(void*));
    SlotHeap heap;
    doubles::ApiOverride<QVWinApi::IKernelApi> seam(g_pKernelApi, heap);
    std::vector<std::thread> threads;
    std::atomic<int> zeroed{0};
    std::atomic<int> goneAfter{0};
    for (int i = 0; i < 32; ++i) {
        threads.emplace_back([&] {
            BulkThreadSlots::MakeSlot();  // thread attach
            const BulkSlot* slot = BulkThreadSlots::Current();
            const bool empty = slot != nullptr && slot->address == nullptr && slot->stream == nullptr &&
                               slot->reserved == nullptr && slot->notifier == nullptr;
            zeroed += empty ? 1 : 0;
            BulkThreadSlots::FreeSlot();  // thread detach
            goneAfter += BulkThreadSlots::Current() == nullptr ? 1 : 0;
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(zeroed.load(), 32);
    EXPECT_EQ(goneAfter.load(), 32);
    EXPECT_EQ(heap.given.load(), 32);
    EXPECT_EQ(heap.freed.load(), 32);
}

TEST_F(BulkFunctions, MakingASlotAgainKeepsTheOneThere)
{
    BulkThreadSlots::MakeSlot();
    BulkSlot* first = BulkThreadSlots::Current();
    ASSERT_NE(first, nullptr);
    BulkThreadSlots::MakeSlot();
    EXPECT_EQ(BulkThreadSlots::Current(), first);
}

TEST_F(BulkFunctions, ASlotThatCannotBeAllocatedIsNull)
{
    SlotHeap heap;
    heap.refuse = true;
    doubles::ApiOverride<QVWinApi::IKernelApi> seam(g_pKernelApi, heap);
    BulkThreadSlots::MakeSlot();
    EXPECT_EQ(BulkThreadSlots::Current(), nullptr);
    EXPECT_EQ(TlsGetValue(BulkThreadSlots::Index()), nullptr);
}

TEST_F(BulkFunctions, ReadBulkWithNoOpenChannelReturnsFalseAndLeavesTheSizeAlone)
{
    doubles::ModuleLogFile log(g_pOrvaneAPILog, L"bulk-read-no-channel");
    char buffer[8] = "abcdefg";
    unsigned long size = sizeof(buffer);
    EXPECT_EQ(ReadBulk(buffer, &size), 0);
    EXPECT_EQ(size, sizeof(buffer));
    EXPECT_STREQ(buffer, "abcdefg");
    BulkThreadSlots::MakeSlot();  // a slot, but no address in it
    EXPECT_EQ(ReadBulk(buffer, &size), 0);
    EXPECT_EQ(size, sizeof(buffer));
    EXPECT_EQ(log.Count(L"(->) Orvane::ReadBulk"), 2U);
}

TEST_F(BulkFunctions, CloseBulkWithNoChannelReturnsTrueAndFreesTheSlot)
{
    EXPECT_EQ(CloseBulk(), 1);
    BulkThreadSlots::MakeSlot();
    ASSERT_NE(BulkThreadSlots::Current(), nullptr);
    EXPECT_EQ(CloseBulk(), 1);
    EXPECT_EQ(BulkThreadSlots::Current(), nullptr);
}

TEST_F(BulkFunctions, WithoutAChannelThereIsNoStreamNorNotifier)
{
    unsigned long size = 3;
    EXPECT_EQ(WriteBulk("abc", &size), 0);
    EXPECT_EQ(size, 3UL);
    EXPECT_EQ(BytesAvailable(), 0UL);
    EXPECT_EQ(FlushBulk(), 0);
    EXPECT_EQ(GetLastStatus(), 0UL);
    SetTimeout(4000);  // no stream: no effect
    EXPECT_EQ(GetTimeout(), 0UL);
    EXPECT_EQ(WaitForInterrupt(), 0);
    HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    EXPECT_EQ(WaitForInterruptEvent(event), 0);
    CloseHandle(event);
    EXPECT_EQ(CancelInterrupt(), 0);
    EXPECT_EQ(CloseInterrupt(), 1);
}

TEST_F(BulkFunctions, WithoutAnIndexNoSlotIsMade)
{
    BulkThreadSlots::FreeIndex();
    BulkThreadSlots::MakeSlot();
    EXPECT_EQ(BulkThreadSlots::Current(), nullptr);
    EXPECT_EQ(BulkThreadSlots::Index(), TLS_OUT_OF_INDEXES);
    ASSERT_TRUE(BulkThreadSlots::AllocateIndex());
}

}  // namespace
