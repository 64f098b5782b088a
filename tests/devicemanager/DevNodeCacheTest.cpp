// The node cache under two threads, and trees whose prefixes mislead it.
#include <gtest/gtest.h>

#include <windows.h>

#include <atomic>
#include <set>

#include "DescribedTree.h"
#include "devicemanager/CDevNodeManager.h"
#include "devicemanager/CUSBDevices.h"
#include "devicemanager/DeviceManagerTypes.h"
#include "doubles/ModuleLogFile.h"
#include "winapi/CKernelApi.h"
#include "logging/LogModules.h"

using namespace QVDeviceManager;
using devicemanager_test::DescribedTree;
using devicemanager_test::Narrow;
using peers::DescribedNode;
using peers::DeviceTree;

namespace {

DescribedNode UsbNode(const std::wstring& id, const std::wstring& prefix)
{
    DescribedNode node;
    node.instanceId = id;
    node.classGuid = peers::classes::kUSB;
    node.hardwareIds = {id.substr(0, id.rfind(L'\\'))};
    node.parentIdPrefix = prefix;
    return node;
}

struct Walker {
    CDevNodeCache* cache;
    DEVINST device;
    DEVINST child;
    bool rebuild;
    int rounds;
};

// Rebuilds (both locks) or looks up (one lock at a time), `rounds` times.
DWORD WINAPI Walk(void* argument)
{
    Walker& walker = *static_cast<Walker*>(argument);
    for (int round = 0; round < walker.rounds; ++round) {
        DEVINST found = 0;
        if (walker.rebuild) {
            walker.cache->RefreshMap(walker.device, nullptr, true);
        }
        walker.cache->GetFirstChild(walker.device, found, nullptr);
        walker.cache->GetNextSibling(walker.child, found);
        walker.cache->GetParent(walker.child, found, nullptr);
    }
    return 0;
}

// Critical sections that wait a millisecond once taken, so that two threads
// taking two of them in opposite orders do meet; each thread's nesting of
// the cache's two sections is noted. The cache makes its parents lock
// first, then its children lock.
class LockOrderKernel : public QVWinApi::CKernelApi {
public:
    void InitializeCriticalSection(LPCRITICAL_SECTION section) override
    {
        QVWinApi::CKernelApi::InitializeCriticalSection(section);
        (parents == nullptr ? parents : children) = section;
    }
    void EnterCriticalSection(LPCRITICAL_SECTION section) override
    {
        if (section == parents && Held().count(children) != 0) {
            childrenThenParents = true;
        }
        QVWinApi::CKernelApi::EnterCriticalSection(section);
        Held().insert(section);
        QVWinApi::CKernelApi::Sleep(1);
    }
    void LeaveCriticalSection(LPCRITICAL_SECTION section) override
    {
        Held().erase(section);
        QVWinApi::CKernelApi::LeaveCriticalSection(section);
    }

    LPCRITICAL_SECTION parents = nullptr;
    LPCRITICAL_SECTION children = nullptr;
    std::atomic<bool> childrenThenParents{false};

private:
    static std::multiset<LPCRITICAL_SECTION>& Held()
    {
        thread_local std::multiset<LPCRITICAL_SECTION> held;
        return held;
    }
};

TEST(DevNodeCache, TwoThreadsTakingBothLocksDoNotDeadlock)
{
    DescribedTree tree(DeviceTree().CompositeMFP(L"VID_1234&PID_5679", L"MFP0002", L"USB004", L"USB005"));
    ASSERT_EQ(L"", tree.Error());
    LockOrderKernel kernel;
    doubles::ApiOverride<QVWinApi::IKernelApi> slowLocks(g_pKernelApi, kernel);
    // On a deadlock a terminated thread still holds a lock: the cache is
    // then left as it is, never used or destroyed again.
    auto* cache = new CDevNodeCache;
    ASSERT_NE(nullptr, kernel.children);
    const DEVINST device = tree.Node(tree.Tree().Nodes()[0].instanceId).GetHandle();
    const DEVINST child = tree.Node(tree.Tree().Nodes()[1].instanceId).GetHandle();
    Walker rebuilder{cache, device, child, true, 4};
    Walker reader{cache, device, child, false, 40};
    HANDLE threads[2] = {CreateThread(nullptr, 0, Walk, &rebuilder, 0, nullptr),
                         CreateThread(nullptr, 0, Walk, &reader, 0, nullptr)};
    // Locks taken in two orders leave the threads waiting on each other.
    const DWORD waited = WaitForMultipleObjects(2, threads, TRUE, 60000);
    if (waited != WAIT_OBJECT_0) {
        for (HANDLE thread : threads) {
            TerminateThread(thread, 1);
            CloseHandle(thread);
        }
        FAIL() << "the threads did not finish in 60 s: a deadlock";
    }
    for (HANDLE thread : threads) {
        CloseHandle(thread);
    }
    EXPECT_FALSE(kernel.childrenThenParents) << "the parents lock was taken under the children lock";
    DEVINST parent = 0;
    ASSERT_TRUE(cache->GetParent(child, parent, nullptr));
    EXPECT_EQ(device, parent);
    delete cache;
}

TEST(DevNodeCache, WarmCacheAnswersLookupsWithoutAskingThePlatform)
{
    DescribedTree tree(DeviceTree().CompositeMFP(L"VID_1234&PID_567A", L"MFP0003", L"USB006", L"USB007"));
    ASSERT_EQ(L"", tree.Error());
    CDevNodeManager manager;
    std::vector<CDevNode> nodes;
    const CDevNode device = tree.Node(tree.Tree().Nodes()[0].instanceId);
    ASSERT_EQ(0u, manager.GetDeviceChildren(device, &nodes, nullptr));
    EXPECT_EQ(1, tree.Api().m_allClassLists.load());
    const long cm = tree.Api().m_cmCalls;
    const long setupDi = tree.Api().m_setupDiCalls;
    nodes.clear();
    ASSERT_EQ(0u, manager.GetDeviceChildren(device, &nodes, nullptr));
    EXPECT_EQ(6u, nodes.size());
    EXPECT_EQ(1, tree.Api().m_allClassLists.load()) << "no second rebuild";
    EXPECT_EQ(setupDi, tree.Api().m_setupDiCalls.load());
    EXPECT_EQ(cm + 1, tree.Api().m_cmCalls.load()) << "only the device's own id, to see that it exists";
}

TEST(DevNodeCache, PrefixThatMatchesTwoParentsGivesTheFirstInOrderAndALogLine)
{
    DeviceTree described;
    described.Add(UsbNode(L"USB\\VID_1234&PID_9001\\TWOP0001", L"8&AB"));
    described.Add(UsbNode(L"USB\\VID_1234&PID_9002\\TWOP0002", L"8&AB&0"));
    described.Add(UsbNode(L"USB\\VID_1234&PID_9001&MI_00\\8&AB&0&0000", L""));
    DescribedTree tree(described);
    ASSERT_EQ(L"", tree.Error());
    doubles::ModuleLogFile log(g_pDeviceManagerLibLog, L"twoparents");
    CDevNode parent;
    ASSERT_TRUE(tree.Node(described.Nodes()[2].instanceId).GetParent(parent, nullptr));
    EXPECT_EQ(tree.Node(described.Nodes()[0].instanceId).GetHandle(), parent.GetHandle());
    EXPECT_EQ(1u, log.Count(L"(##) 8&AB&0&0000 also begins with the ParentIdPrefix 8&AB&0; the first match stays "
                            L"its parent"))
        << Narrow(log.Text());
}

TEST(DevNodeCache, CycleInTheTreeIsCutWithALogLineAndWalksEnd)
{
    DeviceTree described;
    described.Add(UsbNode(L"USB\\VID_1234&PID_9003\\9&B&0&0001", L"9&A&0"));
    described.Add(UsbNode(L"USB\\VID_1234&PID_9004\\9&A&0&0001", L"9&B&0"));
    DescribedTree tree(described);
    ASSERT_EQ(L"", tree.Error());
    doubles::ModuleLogFile log(g_pDeviceManagerLibLog, L"cycle");
    CDevNodeManager manager;
    std::vector<CDevNode> nodes;
    EXPECT_EQ(0u, manager.GetDeviceChildren(tree.Node(described.Nodes()[0].instanceId), &nodes, nullptr));
    EXPECT_LE(nodes.size(), 1u);
    const size_t cut = log.Count(L"(##) ParentIdPrefix cycle at " + described.Nodes()[0].instanceId
                                 + L", its parent link is dropped")
        + log.Count(L"(##) ParentIdPrefix cycle at " + described.Nodes()[1].instanceId + L", its parent link is dropped");
    EXPECT_EQ(1u, cut) << Narrow(log.Text());
    EXPECT_EQ(tree.Api().m_setsMade.load(), tree.Api().m_setsDestroyed.load());
}

TEST(DevNodeCache, DeviceIdOf200CharactersOrMoreIsNoNode)
{
    DeviceTree described;
    const std::wstring id = L"USB\\VID_1234&PID_9005\\LONG0001";
    described.Add(UsbNode(id, L""));
    DescribedTree tree(described);
    ASSERT_EQ(L"", tree.Error());
    // Wine refuses to register such an id (measured): the double reports it.
    tree.Api().ReportIdAs(id, L"USB\\VID_1234&PID_9005\\" + std::wstring(190, L'L'));
    doubles::ModuleLogFile log(g_pDeviceManagerLibLog, L"longid");
    const CDevNode node = tree.Node(id);
    ASSERT_NE(0u, node.GetHandle());
    std::wstring text;
    EXPECT_FALSE(node.GetDeviceID(text));
    EXPECT_FALSE(node.Exists());
    CDevNodeManager manager;
    std::vector<CDevNode> nodes;
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, manager.GetDeviceChildren(node, &nodes, nullptr));
    CDevNode parent;
    EXPECT_FALSE(node.GetParent(parent, nullptr));
    EXPECT_EQ(1u, log.Count(L"(##) No serial number for node " + std::to_wstring(node.GetHandle())))
        << Narrow(log.Text());
}

TEST(DevNodeCache, ConfigurationManagerCallFailingHalfwayThroughARebuildLosesOneNodeOnly)
{
    DescribedTree tree(DeviceTree().CompositeMFP(L"VID_1234&PID_567B", L"MFP0004", L"USB008", L"USB009"));
    ASSERT_EQ(L"", tree.Error());
    doubles::ModuleLogFile log(g_pDeviceManagerLibLog, L"cmfail");
    const CDevNode device = tree.Node(tree.Tree().Nodes()[0].instanceId);
    ASSERT_TRUE(device.Exists());
    // The rebuild reads each node's id for its "Enum" key, then again for
    // its serial number; a failure in the second half loses one serial.
    const long before = tree.Api().m_cmCalls;
    CDevNodeCache::Global().RefreshMap(device.GetHandle(), nullptr, true);
    const long perRebuild = tree.Api().m_cmCalls - before;
    tree.Api().FailCmCall(perRebuild - 3);
    CDevNodeCache::Global().RefreshMap(device.GetHandle(), nullptr, true);
    size_t lost = 0;
    for (const std::wstring& line : log.Lines()) {
        lost += line.rfind(L"(##) No serial number for node ", 0) == 0 ? 1 : 0;
    }
    EXPECT_EQ(1u, lost) << Narrow(log.Text());
    EXPECT_EQ(tree.Api().m_setsMade.load(), tree.Api().m_setsDestroyed.load()) << "no set left open";
}

}  // namespace

namespace {

TEST(DevNodeCacheScale, TwoHundredDevicesAreEnumeratedOnOneReadingOfTheTree)
{
    DescribedTree tree(DeviceTree().ManyPrinters(200));
    ASSERT_EQ(L"", tree.Error());
    CUSBDevices devices;
    ASSERT_EQ(0u, devices.GetInstalledDevices(nullptr));
    size_t described = 0;
    for (unsigned long i = 0; i < devices.GetCount(); ++i) {
        described += devices.GetDevice(i)->GetSerialNumber().rfind(L"ZQS", 0) == 0 ? 1 : 0;
        EXPECT_TRUE(devices.GetDevice(i)->HasFunction(FUNCTION_TYPE_PRINT));
    }
    EXPECT_EQ(200u, described);
    EXPECT_EQ(1, tree.Api().m_allClassLists.load()) << "one reading of the tree for all devices";
    ASSERT_EQ(0u, devices.GetInstalledDevices(nullptr));
    EXPECT_EQ(1, tree.Api().m_allClassLists.load()) << "the warm cache reads nothing again";
    EXPECT_EQ(tree.Api().m_setsMade.load(), tree.Api().m_setsDestroyed.load());
}

}  // namespace
