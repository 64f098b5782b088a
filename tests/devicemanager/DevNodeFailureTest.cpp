// The device tree's calls failing one at a time: each gives its status and
// its log line, and every set made is destroyed.
#include <gtest/gtest.h>

#include <windows.h>

#include "DescribedTree.h"
#include "SpoolerSetup.h"
#include "devicemanager/CDevNodeManager.h"
#include "devicemanager/CPrintUtil.h"
#include "devicemanager/DeviceManagerTypes.h"
#include "doubles/ApiOverride.h"
#include "doubles/ModuleLogFile.h"
#include "logging/LogModules.h"
#include "resolver/SpoolerQueues.h"
#include "winapi/CSpoolerApi.h"

using namespace QVDeviceManager;
using devicemanager_test::DescribedTree;
using devicemanager_test::Narrow;
using peers::DeviceTree;

namespace {

// Wine's SetupDi doesn't fail these calls on a healthy prefix: the double
// makes the chosen one fail with the chosen error, after doing its work
// (a set is still destroyed).
class FailingSetupApi : public doubles::DescribedSetupApi {
public:
    using doubles::DescribedSetupApi::DescribedSetupApi;

    DWORD classDevsError = 0;
    DWORD destroyError = 0;
    DWORD createError = 0;
    DWORD openError = 0;
    DWORD installerError = 0;

    HDEVINFO SetupDiGetClassDevsW(const GUID* classGuid, PCWSTR enumerator, HWND parent, DWORD flags) override
    {
        return classDevsError ? Fail<HDEVINFO>(classDevsError, INVALID_HANDLE_VALUE)
                              : DescribedSetupApi::SetupDiGetClassDevsW(classGuid, enumerator, parent, flags);
    }
    BOOL SetupDiDestroyDeviceInfoList(HDEVINFO set) override
    {
        const BOOL destroyed = DescribedSetupApi::SetupDiDestroyDeviceInfoList(set);
        return destroyError ? Fail<BOOL>(destroyError, FALSE) : destroyed;
    }
    HDEVINFO SetupDiCreateDeviceInfoList(const GUID* classGuid, HWND parent) override
    {
        return createError ? Fail<HDEVINFO>(createError, INVALID_HANDLE_VALUE)
                           : DescribedSetupApi::SetupDiCreateDeviceInfoList(classGuid, parent);
    }
    BOOL SetupDiOpenDeviceInfoW(HDEVINFO set, PCWSTR id, HWND parent, DWORD flags, PSP_DEVINFO_DATA data) override
    {
        return openError ? Fail<BOOL>(openError, FALSE)
                         : DescribedSetupApi::SetupDiOpenDeviceInfoW(set, id, parent, flags, data);
    }
    BOOL SetupDiCallClassInstaller(DI_FUNCTION function, HDEVINFO set, PSP_DEVINFO_DATA data) override
    {
        return installerError ? Fail<BOOL>(installerError, FALSE)
                              : DescribedSetupApi::SetupDiCallClassInstaller(function, set, data);
    }

private:
    template <typename Result>
    static Result Fail(DWORD error, Result result)
    {
        ::SetLastError(error);
        return result;
    }
};

class DevNodeFailures : public testing::Test {
protected:
    DevNodeFailures()
        : m_tree(DeviceTree().SingleFunctionPrinter(L"VID_1234&PID_0011", L"FAIL0001", L"USB023")),
          m_api(m_tree.Tree()), m_override(g_pSetupApi, m_api)
    {
    }
    void SetUp() override { ASSERT_EQ(L"", m_tree.Error()); }
    const std::wstring& Id(size_t index) { return m_tree.Tree().Nodes()[index].instanceId; }

    DescribedTree m_tree;
    FailingSetupApi m_api;
    doubles::ApiOverride<QVWinApi::ISetupApi> m_override;
    doubles::ModuleLogFile m_log{g_pDeviceManagerLibLog, L"devnodefailures"};
};

TEST_F(DevNodeFailures, PlatformErrorsMapToTheLibrarysStatuses)
{
    EXPECT_EQ(DM_E_ACCESS_DENIED, CDevNodeManager::MapWin32Error(5));
    EXPECT_EQ(DM_E_OUT_OF_MEMORY, CDevNodeManager::MapWin32Error(8));
    EXPECT_EQ(DM_E_OUT_OF_MEMORY, CDevNodeManager::MapWin32Error(14));
    EXPECT_EQ(DM_E_NOT_FOUND, CDevNodeManager::MapWin32Error(20));
    EXPECT_EQ(DM_E_NOT_FOUND, CDevNodeManager::MapWin32Error(15299));
    EXPECT_EQ(DM_E_DEVICE_GONE, CDevNodeManager::MapWin32Error(55));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, CDevNodeManager::MapWin32Error(87));
    EXPECT_EQ(DM_E_FAILED, CDevNodeManager::MapWin32Error(2));
}

TEST_F(DevNodeFailures, ListThatTheSetupLayerRefusesGivesTheMappedStatusAndItsLine)
{
    m_api.classDevsError = ERROR_ACCESS_DENIED;
    std::vector<CDevNode> nodes;
    EXPECT_EQ(DM_E_ACCESS_DENIED, CDevNodeManager().GetDevices(nullptr, L"USB", &nodes, nullptr));
    EXPECT_TRUE(nodes.empty());
    EXPECT_EQ(1u, m_log.Count(L"(##) GetClassDevs failed, err=5")) << Narrow(m_log.Text());
    CDevNode parent;
    EXPECT_FALSE(m_tree.Node(Id(1)).GetParent(parent, nullptr)) << "no tree to read";
}

TEST_F(DevNodeFailures, SetThatCannotBeDestroyedIsLoggedAndTheResultStands)
{
    m_api.destroyError = ERROR_INVALID_HANDLE;
    std::vector<CDevNode> nodes;
    EXPECT_EQ(0u, CDevNodeManager().GetDevices(nullptr, L"USB", &nodes, nullptr));
    EXPECT_FALSE(nodes.empty());
    CDevNode parent;
    EXPECT_TRUE(m_tree.Node(Id(1)).GetParent(parent, nullptr));
    std::wstring path;
    EXPECT_TRUE(m_tree.Node(Id(0)).GetDevicePath(peers::kInterfaceUSBPrint, path));
    EXPECT_EQ(1u, m_log.Count(L"(##) DestroyDeviceInfoList failed, err=6")) << Narrow(m_log.Text());
    EXPECT_EQ(2u, m_log.Count(L"(##) DestroyDeviceInfoList failed with err = 6")) << "the tree's and the path's";
}

TEST_F(DevNodeFailures, RemovalThatCannotMakeItsSetGivesTheMappedStatusAndKeepsTheNodes)
{
    m_api.createError = ERROR_NOT_ENOUGH_MEMORY;
    EXPECT_EQ(DM_E_OUT_OF_MEMORY, CDevNodeManager().UninstallDevice(m_tree.Node(Id(0)), nullptr));
    EXPECT_EQ(1u, m_log.Count(L"(##) CreateDeviceInfoList failed, err=8")) << Narrow(m_log.Text());
    EXPECT_TRUE(peers::RegisteredDeviceTree::IsRegistered(Id(1)));
    EXPECT_TRUE(peers::RegisteredDeviceTree::IsRegistered(Id(0)));
}

TEST_F(DevNodeFailures, RemovalThatCannotOpenTheNodeStopsAtTheFirstChild)
{
    const CDevNode device = m_tree.Node(Id(0));
    m_api.openError = ERROR_BAD_UNIT;
    EXPECT_EQ(DM_E_NOT_FOUND, CDevNodeManager().UninstallDevice(device, nullptr));
    EXPECT_EQ(1u, m_log.Count(L"(##) OpenDeviceInfo(" + Id(1) + L") failed, err=20")) << Narrow(m_log.Text());
    EXPECT_EQ(0u, m_log.Count(L"(##) OpenDeviceInfo(" + Id(0) + L") failed, err=20"));
    EXPECT_EQ(m_api.m_setsMade.load(), m_api.m_setsDestroyed.load());
}

TEST_F(DevNodeFailures, ClassInstallerThatRefusesGivesTheMappedStatusWithWinesParameterLine)
{
    m_api.installerError = ERROR_ACCESS_DENIED;
    EXPECT_EQ(DM_E_ACCESS_DENIED, CDevNodeManager().UninstallDevice(m_tree.Node(Id(0)), nullptr));
    std::wstring missing;
    // Wine refuses the removal parameters (and sets no error); the removal
    // goes on without them.
    EXPECT_TRUE(m_log.InOrder({L"(##) SetClassInstallParams failed, err=0",
                               L"(##) CallClassInstaller(DIF_REMOVE) failed, err=5"},
                              &missing))
        << Narrow(missing) << "\n" << Narrow(m_log.Text());
    EXPECT_TRUE(peers::RegisteredDeviceTree::IsRegistered(Id(1)));
    EXPECT_EQ(m_api.m_setsMade.load(), m_api.m_setsDestroyed.load());
}

// A spooler whose ClosePrinter fails after closing: Wine's never does.
class UnclosingSpooler : public QVWinApi::CSpoolerApi {
public:
    BOOL ClosePrinter(HANDLE printer) override
    {
        QVWinApi::CSpoolerApi::ClosePrinter(printer);
        ::SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
};

TEST(PrintUtilFailures, PrinterThatCannotBeClosedIsLoggedAndTheValueStands)
{
    resolver_test::SpoolerQueues queues;
    const std::wstring queue = resolver_test::SpoolerQueues::Unique(L"Orvane DM Unclosed");
    ASSERT_TRUE(queues.Add(queue, L"USB024"));
    ASSERT_TRUE(devicemanager_test::SetQueueText(queue, L"PnPData", L"DeviceInstanceId", L"X"));
    UnclosingSpooler spooler;
    doubles::ApiOverride<QVWinApi::ISpoolerApi> override(g_pSpoolerApi, spooler);
    doubles::ModuleLogFile log(g_pDeviceManagerLibLog, L"unclosed");
    std::wstring text;
    EXPECT_EQ(0u, CPrintUtil::GetPrinterDataValue(queue.c_str(), L"PnPData", L"DeviceInstanceId", text));
    EXPECT_EQ(L"X", text);
    EXPECT_EQ(1u, log.Count(L"(##) ClosePrinter failed with err = 6")) << Narrow(log.Text());
}

}  // namespace
