// Device nodes on a described tree registered in the prefix: parents by
// "ParentIdPrefix", walks below a node, removal, driver keys and paths.
#include <gtest/gtest.h>

#include "DescribedTree.h"
#include "devicemanager/CDevNodeManager.h"
#include "devicemanager/DeviceManagerTypes.h"
#include "doubles/ModuleLogFile.h"
#include "logging/LogModules.h"

using namespace QVDeviceManager;
using devicemanager_test::DescribedTree;
using devicemanager_test::Narrow;
using peers::DeviceTree;

namespace {

const std::wstring kMfpId = L"USB\\VID_1234&PID_5678\\MFP0001";

class DevNodes : public testing::Test {
protected:
    DevNodes() : m_tree(DeviceTree().CompositeMFP(L"VID_1234&PID_5678", L"MFP0001", L"USB001", L"USB002"))
    {
        m_mfp = m_tree.Tree().Nodes();
    }
    void SetUp() override { ASSERT_EQ(L"", m_tree.Error()); }
    const std::wstring& Id(size_t index) const { return m_mfp[index].instanceId; }

    DescribedTree m_tree;
    std::vector<peers::DescribedNode> m_mfp;  // device, print link, queue, scan, fax link, fax, config
};

TEST_F(DevNodes, NodeLocatedByItsIdGivesItsIdClassAndSerialNumber)
{
    const CDevNode device = m_tree.Node(kMfpId);
    ASSERT_NE(0u, device.GetHandle());
    EXPECT_TRUE(device.Exists());
    std::wstring text;
    ASSERT_TRUE(device.GetDeviceID(text));
    EXPECT_EQ(kMfpId, text);
    ASSERT_TRUE(device.GetSerialNumber(text));
    EXPECT_EQ(L"MFP0001", text);
    GUID usb = {};
    ASSERT_TRUE(device.GetClassGuid(usb));
    EXPECT_EQ(0x36FC9E60u, usb.Data1);
    EXPECT_EQ(0x8056, usb.Data4[0] << 8 | usb.Data4[1]);
    std::vector<std::wstring> compatible;
    ASSERT_TRUE(device.GetPropertyList(CM_DRP_COMPATIBLEIDS, compatible));
    EXPECT_EQ((std::vector<std::wstring>{L"USB\\COMPOSITE", L"USB\\DevClass_00"}), compatible);
    ASSERT_TRUE(device.GetProperty(CM_DRP_SERVICE, text));
    EXPECT_EQ(L"usbccgp", text);
    EXPECT_EQ(0u, m_tree.Node(L"USB\\VID_1234&PID_5678\\NOSUCH").GetHandle());
}

TEST_F(DevNodes, NodeWithoutParentIdPrefixIsNeverAKeyOfTheParentsMap)
{
    CDevNodeCache& cache = CDevNodeCache::Global();
    EXPECT_TRUE(cache.IsParent(m_tree.Node(kMfpId).GetHandle(), nullptr));
    EXPECT_TRUE(cache.IsParent(m_tree.Node(Id(1)).GetHandle(), nullptr));
    EXPECT_FALSE(cache.IsParent(m_tree.Node(Id(3)).GetHandle(), nullptr)) << "scan node";
    EXPECT_FALSE(cache.IsParent(m_tree.Node(Id(6)).GetHandle(), nullptr)) << "configuration node";
    EXPECT_FALSE(cache.IsParent(m_tree.Node(Id(2)).GetHandle(), nullptr)) << "print queue node";
    CDevNode child;
    EXPECT_FALSE(m_tree.Node(Id(3)).GetChild(child, nullptr));
}

TEST_F(DevNodes, InterfaceNodeWhoseSerialBeginsWithItsParentsPrefixGetsThatParent)
{
    const CDevNode device = m_tree.Node(kMfpId);
    for (size_t index : {1u, 3u, 4u, 6u}) {
        CDevNode parent;
        ASSERT_TRUE(m_tree.Node(Id(index)).GetParent(parent, nullptr)) << Narrow(Id(index));
        EXPECT_EQ(device.GetHandle(), parent.GetHandle()) << Narrow(Id(index));
    }
    CDevNode parent;
    ASSERT_TRUE(m_tree.Node(Id(2)).GetParent(parent, nullptr));
    EXPECT_EQ(m_tree.Node(Id(1)).GetHandle(), parent.GetHandle()) << "the queue node hangs below the print link";
}

TEST_F(DevNodes, NodeWithNoMatchingPrefixStaysAtParent0AndGetParentGivesFalse)
{
    CDevNode parent;
    EXPECT_FALSE(m_tree.Node(kMfpId).GetParent(parent, nullptr));
    EXPECT_EQ(0u, parent.GetHandle());
}

TEST_F(DevNodes, ChildrenOfADeviceComeParentsBeforeTheirChildren)
{
    CDevNodeManager manager;
    std::vector<CDevNode> nodes;
    ASSERT_EQ(0u, manager.GetDeviceChildren(m_tree.Node(kMfpId), &nodes, nullptr));
    std::vector<std::wstring> ids;
    for (const CDevNode& node : nodes) {
        std::wstring id;
        node.GetDeviceID(id);
        ids.push_back(id);
    }
    EXPECT_EQ((std::vector<std::wstring>{Id(1), Id(2), Id(3), Id(4), Id(5), Id(6)}), ids);
}

TEST_F(DevNodes, ChildrenOfANodeThatDoesNotExistOrIntoNoListGiveInvalidArgument)
{
    CDevNodeManager manager;
    std::vector<CDevNode> nodes;
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, manager.GetDeviceChildren(CDevNode(), &nodes, nullptr));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, manager.GetDeviceChildren(m_tree.Node(kMfpId), nullptr, nullptr));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, manager.GetDevices(nullptr, L"USB", nullptr, nullptr));
}

TEST_F(DevNodes, DevicesOfTheUSBEnumeratorAreTheRegisteredUSBNodes)
{
    CDevNodeManager manager;
    std::vector<CDevNode> nodes;
    ASSERT_EQ(0u, manager.GetDevices(nullptr, L"USB", &nodes, nullptr));
    std::set<std::wstring> ids;
    for (const CDevNode& node : nodes) {
        std::wstring id;
        node.GetDeviceID(id);
        ids.insert(id);
    }
    for (size_t index : {0u, 1u, 3u, 4u, 6u}) {
        EXPECT_EQ(1u, ids.count(Id(index))) << Narrow(Id(index));
    }
    EXPECT_EQ(0u, ids.count(Id(2))) << "a USBPRINT node";
    EXPECT_EQ(m_tree.Api().m_setsMade.load(), m_tree.Api().m_setsDestroyed.load());
}

TEST_F(DevNodes, RemovingADeviceWithChildrenRemovesTheChildrenFirst)
{
    CDevNodeManager manager;
    ASSERT_EQ(0u, manager.UninstallDevice(m_tree.Node(kMfpId), nullptr));
    EXPECT_EQ((std::vector<std::wstring>{Id(6), Id(5), Id(4), Id(3), Id(2), Id(1), kMfpId}), m_tree.Api().m_removed);
    for (const peers::DescribedNode& node : m_mfp) {
        EXPECT_FALSE(peers::RegisteredDeviceTree::IsRegistered(node.instanceId)) << Narrow(node.instanceId);
    }
    EXPECT_EQ(m_tree.Api().m_setsMade.load(), m_tree.Api().m_setsDestroyed.load());
}

TEST_F(DevNodes, ClassInstallerAskingARebootForOneChildStillRemovesTheOthersAndGivesRebootRequired)
{
    m_tree.Api().NeedsRebootAfterRemoving(Id(3));
    CDevNodeManager manager;
    EXPECT_EQ(DM_E_REBOOT_REQUIRED, manager.UninstallDevice(m_tree.Node(kMfpId), nullptr));
    EXPECT_EQ(7u, m_tree.Api().m_removed.size());
    for (const peers::DescribedNode& node : m_mfp) {
        EXPECT_FALSE(peers::RegisteredDeviceTree::IsRegistered(node.instanceId)) << Narrow(node.instanceId);
    }
}

TEST_F(DevNodes, DriverValueComesFromTheNodesOwnDriverKey)
{
    std::wstring text;
    ASSERT_TRUE(m_tree.Node(Id(3)).GetDriverValue(L"DriverDesc", text));
    EXPECT_EQ(L"ZQ MFP Scanner", text);
    ASSERT_TRUE(m_tree.Node(Id(3)).GetDriverValue(L"FriendlyName", text));
    EXPECT_EQ(L"ZQ MFP Scan", text);
    ASSERT_TRUE(m_tree.Node(kMfpId).GetDriverValue(L"DriverDesc", text)) << "matched by a compatible id";
    EXPECT_EQ(L"USB Composite Device", text);
}

TEST_F(DevNodes, ParametersAndPortNameComeFromDeviceParameters)
{
    DWORD fax = 7;
    EXPECT_EQ(0u, m_tree.Node(Id(5)).GetParameterValue(L"Fax", fax));
    EXPECT_EQ(1u, fax);
    std::wstring port;
    EXPECT_EQ(0u, m_tree.Node(Id(2)).GetPortName(port));
    EXPECT_EQ(L"USB001", port);
    EXPECT_EQ(DM_E_VALUE_NOT_FOUND, m_tree.Node(Id(3)).GetParameterValue(L"Fax", fax));
    std::wstring container;
    EXPECT_EQ(0u, m_tree.Node(kMfpId).GetEnumValue(L"ContainerID", container));
    EXPECT_EQ(L"{8A0E5D34-0000-4000-8000-00000000F00D}", container);
}

TEST_F(DevNodes, DevicePathIsTheRegisteredInterfacesPath)
{
    std::wstring path;
    ASSERT_TRUE(m_tree.Node(Id(1)).GetDevicePath(peers::kInterfaceUSBPrint, path));
    std::wstring prefix = m_mfp[0].parentIdPrefix;
    for (wchar_t& c : prefix) {
        c = static_cast<wchar_t>(towlower(c));
    }
    EXPECT_EQ(L"\\\\?\\usb#vid_1234&pid_5678&mi_00#" + prefix + L"&0000#{28d78fad-5a12-11d1-ae5b-0000f803a8c2}", path);
    EXPECT_FALSE(m_tree.Node(Id(3)).GetDevicePath(peers::kInterfaceUSBPrint, path));
}

// A second tree for the cases that change the description.
TEST(DevNodeDriverKey, DriverKeyWhoseMatchingDeviceIdIsInNeitherListMakesGetDriverValueFalse)
{
    DeviceTree tree;
    tree.SingleFunctionPrinter(L"VID_1234&PID_0001", L"SFP0001", L"USB003");
    tree.Nodes()[1].matchingDeviceId = L"USBPRINT\\SomeOtherPrinter";
    DescribedTree described(tree);
    ASSERT_EQ(L"", described.Error());
    doubles::ModuleLogFile log(g_pDeviceManagerLibLog, L"driverkey");
    std::wstring text;
    EXPECT_FALSE(described.Node(tree.Nodes()[1].instanceId).GetDriverValue(L"DriverDesc", text));
    EXPECT_EQ(1u, log.Count(L"(I0) MatchingDeviceId USBPRINT\\SomeOtherPrinter of "
                            L"System\\CurrentControlSet\\Control\\Class\\"
                            + tree.Nodes()[1].driverKey + L" is not one of the node's ids"))
        << Narrow(log.Text());
    EXPECT_TRUE(described.Node(tree.Nodes()[0].instanceId).GetDriverValue(L"DriverDesc", text));
}

TEST(DevNodeDriverKey, DriverKeyThatPointsNowhereGivesNoDriverValue)
{
    DeviceTree tree;
    tree.SingleFunctionPrinter(L"VID_1234&PID_0001", L"SFP0002", L"USB003");
    tree.Nodes()[1].driverKeyWritten = false;
    DescribedTree described(tree);
    ASSERT_EQ(L"", described.Error());
    doubles::ModuleLogFile log(g_pDeviceManagerLibLog, L"nowhere");
    std::wstring text;
    EXPECT_FALSE(described.Node(tree.Nodes()[1].instanceId).GetDriverValue(L"DriverDesc", text));
    EXPECT_EQ(1u, log.Count(L"(##) RegOpenKeyExW(System\\CurrentControlSet\\Control\\Class\\" + tree.Nodes()[1].driverKey
                            + L") failed with err = 2"))
        << Narrow(log.Text());
}

}  // namespace
