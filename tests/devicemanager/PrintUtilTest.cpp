// The spooler chores on Wine's spooler: queues of device nodes, their data,
// purging and the removal of a driver with its monitor and folder.
#include <gtest/gtest.h>

#include <windows.h>
#include <winspool.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "DescribedTree.h"
#include "SpoolerSetup.h"
#include "WineSpooler.h"
#include "devicemanager/CPrintUtil.h"
#include "devicemanager/DeviceManagerTypes.h"
#include "doubles/ApiOverride.h"
#include "doubles/ClockKernel.h"
#include "doubles/ModuleLogFile.h"
#include "logging/LogModules.h"
#include "resolver/SpoolerQueues.h"

using namespace QVDeviceManager;
using devicemanager_test::Narrow;
using devicemanager_test::WineSpooler;
using devicemanager_test::InstallDriver;
using devicemanager_test::InstallMonitor;
using devicemanager_test::SetQueueText;
using devicemanager_test::SpoolerContents;
using resolver_test::SpoolerQueues;

namespace {

std::wstring Unique(const std::wstring& name)
{
    return SpoolerQueues::Unique(name);
}

class PrintUtil : public testing::Test {
protected:
    SpoolerQueues m_queues;
    WineSpooler m_spooler;
    doubles::ClockKernel m_clock;
};

TEST_F(PrintUtil, QueueWhoseDeviceInstanceIdIsStoredInOtherCaseStillMatches)
{
    const std::wstring other = Unique(L"Orvane DM Other");
    const std::wstring queue = Unique(L"Orvane DM Printer");
    ASSERT_TRUE(m_queues.Add(other, L"USB011"));
    ASSERT_TRUE(m_queues.Add(queue, L"USB012"));
    ASSERT_TRUE(SetQueueText(other, L"PnPData", L"DeviceInstanceId", L"USBPRINT\\ZQOTHER\\7&1&0&USB011"));
    ASSERT_TRUE(SetQueueText(queue, L"PnPData", L"DeviceInstanceId", L"usbprint\\zqprinter\\7&2f1c1&0&usb012"));
    std::wstring found;
    EXPECT_EQ(0u, CPrintUtil::FindPrinterName(L"USBPRINT\\ZQPRINTER\\7&2F1C1&0&USB012", nullptr, nullptr, found));
    EXPECT_EQ(queue, found);
    EXPECT_EQ(DM_E_NOT_FOUND, CPrintUtil::FindPrinterName(L"USBPRINT\\ZQPRINTER\\7&9&0&USB099", nullptr, nullptr, found));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, CPrintUtil::FindPrinterName(L"", nullptr, nullptr, found));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, CPrintUtil::FindPrinterName(nullptr, nullptr, nullptr, found));
}

TEST_F(PrintUtil, ContainerIdIsWrittenBelowPnPDataAndReadBack)
{
    const std::wstring queue = Unique(L"Orvane DM Container");
    ASSERT_TRUE(m_queues.Add(queue, L"USB013"));
    EXPECT_EQ(0u, CPrintUtil::SetPrinterDataValue(queue.c_str(), L"{8A0E5D34-0000-4000-8000-00000000F00D}"));
    HANDLE printer = nullptr;
    ASSERT_TRUE(OpenPrinterW(const_cast<wchar_t*>(queue.c_str()), &printer, nullptr));
    wchar_t text[64] = {};
    DWORD type = 0;
    DWORD needed = 0;
    EXPECT_EQ(0u, GetPrinterDataExW(printer, L"PnPData", L"DeviceContainerID", &type, (BYTE*)text, sizeof text, &needed));
    ClosePrinter(printer);
    EXPECT_EQ(std::wstring(L"{8A0E5D34-0000-4000-8000-00000000F00D}"), text);
    std::wstring read;
    EXPECT_EQ(0u, CPrintUtil::GetPrinterDataValue(queue.c_str(), L"PnPData", L"DeviceContainerID", read));
    EXPECT_EQ(text, read);
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, CPrintUtil::SetPrinterDataValue(Unique(L"No Such Queue").c_str(), L"{x}"));
}

TEST_F(PrintUtil, PrinterDataOfAnotherTypeMissingOrOnNoQueueGivesItsStatus)
{
    const std::wstring queue = Unique(L"Orvane DM Data");
    ASSERT_TRUE(m_queues.Add(queue, L"USB014"));
    ASSERT_TRUE(SetQueueText(queue, L"PnPData", L"Ids", L"A\0B\0", REG_MULTI_SZ));
    ASSERT_TRUE(SetQueueText(queue, L"PnPData", L"Empty", L""));
    std::wstring text = L"old";
    EXPECT_EQ(DM_E_WRONG_VALUE_TYPE, CPrintUtil::GetPrinterDataValue(queue.c_str(), L"PnPData", L"Ids", text));
    EXPECT_EQ(DM_E_VALUE_NOT_FOUND, CPrintUtil::GetPrinterDataValue(queue.c_str(), L"PnPData", L"Nothing", text));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, CPrintUtil::GetPrinterDataValue(queue.c_str(), L"", L"Ids", text));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT,
              CPrintUtil::GetPrinterDataValue(Unique(L"No Such Queue").c_str(), L"PnPData", L"Ids", text));
    EXPECT_EQ(0u, CPrintUtil::GetPrinterDataValue(queue.c_str(), L"PnPData", L"Empty", text));
    EXPECT_EQ(L"", text);
}

TEST_F(PrintUtil, DriverNameOfAQueueIsItsDriver)
{
    const std::wstring queue = Unique(L"Orvane DM Driver Name");
    ASSERT_TRUE(m_queues.Add(queue, L"USB015"));
    std::wstring driver;
    EXPECT_EQ(0u, CPrintUtil::GetPrinterDriverName(queue.c_str(), driver));
    EXPECT_EQ(SpoolerQueues::kDriver, driver);
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, CPrintUtil::GetPrinterDriverName(L"", driver));
}

TEST_F(PrintUtil, EmptyQueueGivesZeroWithNoPurgeCall)
{
    const std::wstring queue = Unique(L"Orvane DM Empty");
    ASSERT_TRUE(m_queues.Add(queue, L"USB016"));
    m_spooler.answerJobs = true;
    doubles::ApiOverride<QVWinApi::ISpoolerApi> spooler(g_pSpoolerApi, m_spooler);
    doubles::ModuleLogFile log(g_pDeviceManagerLibLog, L"emptyqueue");
    EXPECT_EQ(0u, CPrintUtil::DeleteAllPrintJobs(queue.c_str()));
    EXPECT_EQ(0, m_spooler.purges);
    EXPECT_EQ(0u, log.Count(L"(I0) Attempting to delete print jobs for printer " + queue)) << Narrow(log.Text());
}

TEST_F(PrintUtil, QueueWithJobsIsPurgedAndPolledUntilEmpty)
{
    const std::wstring queue = Unique(L"Orvane DM Jobs");
    ASSERT_TRUE(m_queues.Add(queue, L"USB017"));
    m_spooler.answerJobs = true;
    m_spooler.jobPolls = 3;
    m_spooler.purgeWorks = true;
    doubles::ApiOverride<QVWinApi::ISpoolerApi> spooler(g_pSpoolerApi, m_spooler);
    doubles::ModuleLogFile log(g_pDeviceManagerLibLog, L"purge");
    // After the log, whose own clock it replaces.
    doubles::ApiOverride<QVWinApi::IKernelApi> kernel(g_pKernelApi, m_clock);
    EXPECT_EQ(0u, CPrintUtil::DeleteAllPrintJobs(queue.c_str()));
    EXPECT_EQ(1, m_spooler.purges);
    // Seen by the first listing and two polls, gone at the third poll.
    EXPECT_EQ((std::vector<DWORD>{1000, 1000, 1000}), m_clock.sleeps);
    EXPECT_EQ(1u, log.Count(L"(I0) Attempting to delete print jobs for printer " + queue)) << Narrow(log.Text());
}

TEST_F(PrintUtil, PurgeThatWineRefusesIsTriedTenTimesAndLogged)
{
    const std::wstring queue = Unique(L"Orvane DM Refused");
    ASSERT_TRUE(m_queues.Add(queue, L"USB018"));
    m_spooler.answerJobs = true;
    m_spooler.jobPolls = 1000;
    doubles::ApiOverride<QVWinApi::ISpoolerApi> spooler(g_pSpoolerApi, m_spooler);
    doubles::ModuleLogFile log(g_pDeviceManagerLibLog, L"purgerefused");
    // After the log, whose own clock it replaces.
    doubles::ApiOverride<QVWinApi::IKernelApi> kernel(g_pKernelApi, m_clock);
    EXPECT_EQ(DM_E_FAILED, CPrintUtil::DeleteAllPrintJobs(queue.c_str()));
    EXPECT_EQ(10, m_spooler.purges);
    EXPECT_EQ(100u, m_clock.sleeps.size());
    EXPECT_EQ(10u, log.Count(L"(##) SetPrinter failed with err = 124")) << Narrow(log.Text());
    EXPECT_EQ(DM_E_FAILED, CPrintUtil::DeleteAllPrintJobs(Unique(L"No Such Queue").c_str()));
}

TEST_F(PrintUtil, DriverThatTheSpoolerDoesNotListGivesNotFound)
{
    ASSERT_TRUE(peers::InstallPrinterDriver(SpoolerQueues::kDriver));
    EXPECT_EQ(DM_E_NOT_FOUND, CPrintUtil::UninstallPrinterDriver(Unique(L"Orvane No Such Driver").c_str()));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, CPrintUtil::UninstallPrinterDriver(L""));
}

TEST_F(PrintUtil, UninstallRemovesTheDriverItsMonitorAndItsFolderAndNothingElse)
{
    const std::wstring monitor = Unique(L"Orvane DM Monitor");
    const std::wstring driver = Unique(L"Orvane DM Driver");
    ASSERT_TRUE(InstallMonitor(monitor));
    ASSERT_TRUE(InstallDriver(driver, monitor));
    ASSERT_TRUE(m_queues.Add(Unique(L"Orvane DM Bystander"), L"USB019"));
    wchar_t directory[MAX_PATH] = {};
    DWORD needed = 0;
    ASSERT_TRUE(GetPrinterDriverDirectoryW(nullptr, nullptr, 1, (BYTE*)directory, sizeof directory, &needed));
    const std::filesystem::path folder = std::filesystem::path(directory) / L"VID_1234_PID_5678";
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "zqmfp.gpd") << "*GPDFileName: zqmfp.gpd";
    const SpoolerContents before = SpoolerContents::Read();
    ASSERT_EQ(1u, before.drivers.count(driver));
    ASSERT_EQ(1u, before.monitors.count(monitor));

    m_spooler.dropDeleteFlag = true;
    m_spooler.hardwareId = L"USBPRINT\\VID_1234&PID_5678";
    doubles::ApiOverride<QVWinApi::ISpoolerApi> spooler(g_pSpoolerApi, m_spooler);
    EXPECT_EQ(0u, CPrintUtil::UninstallPrinterDriver(driver.c_str()));

    const SpoolerContents after = SpoolerContents::Read();
    std::set<std::wstring> drivers = before.drivers;
    drivers.erase(driver);
    std::set<std::wstring> monitors = before.monitors;
    monitors.erase(monitor);
    EXPECT_EQ(drivers, after.drivers);
    EXPECT_EQ(monitors, after.monitors);
    EXPECT_EQ(before.queues, after.queues);
    EXPECT_FALSE(std::filesystem::exists(folder));
    EXPECT_TRUE(std::filesystem::exists(directory));
}

TEST_F(PrintUtil, DriverInUseOnAllFiveTriesGivesAccessDeniedAfterFourWaits)
{
    const std::wstring driver = Unique(L"Orvane DM Busy Driver");
    ASSERT_TRUE(InstallDriver(driver, L""));
    m_spooler.driverDeleteError = 3001;
    doubles::ApiOverride<QVWinApi::ISpoolerApi> spooler(g_pSpoolerApi, m_spooler);
    doubles::ModuleLogFile log(g_pDeviceManagerLibLog, L"driverbusy");
    // After the log, whose own clock it replaces.
    doubles::ApiOverride<QVWinApi::IKernelApi> kernel(g_pKernelApi, m_clock);
    EXPECT_EQ(DM_E_ACCESS_DENIED, CPrintUtil::UninstallPrinterDriver(driver.c_str()));
    EXPECT_EQ(5, m_spooler.driverDeletes);
    EXPECT_EQ((std::vector<DWORD>{2000, 2000, 2000, 2000}), m_clock.sleeps);
    EXPECT_EQ(5u, log.Count(L"(##) DeletePrinterDriverEx(" + driver + L") returned ERROR_PRINTER_DRIVER_IN_USE"))
        << Narrow(log.Text());
    DeletePrinterDriverExW(nullptr, nullptr, const_cast<wchar_t*>(driver.c_str()), 0, 0);
}

TEST_F(PrintUtil, DriverRefusedOtherwiseIsLoggedAndFailsOnce)
{
    const std::wstring driver = Unique(L"Orvane DM Refused Driver");
    ASSERT_TRUE(InstallDriver(driver, L""));
    doubles::ApiOverride<QVWinApi::ISpoolerApi> spooler(g_pSpoolerApi, m_spooler);
    doubles::ModuleLogFile log(g_pDeviceManagerLibLog, L"driverrefused");
    // Wine refuses DPD_DELETE_UNUSED_FILES with 87.
    EXPECT_EQ(DM_E_FAILED, CPrintUtil::UninstallPrinterDriver(driver.c_str()));
    EXPECT_EQ(1, m_spooler.driverDeletes);
    EXPECT_EQ(1u, log.Count(L"(##) DeletePrinterDriverEx(" + driver + L") failed with err = 87")) << Narrow(log.Text());
    DeletePrinterDriverExW(nullptr, nullptr, const_cast<wchar_t*>(driver.c_str()), 0, 0);
}

TEST_F(PrintUtil, MonitorThatIsStillInUseDoesNotFailUninstallPrinterDriver)
{
    const std::wstring monitor = Unique(L"Orvane DM Busy Monitor");
    const std::wstring driver = Unique(L"Orvane DM Driver With Busy Monitor");
    ASSERT_TRUE(InstallMonitor(monitor));
    ASSERT_TRUE(InstallDriver(driver, monitor));
    m_spooler.dropDeleteFlag = true;
    m_spooler.monitorDeleteError = 3008;
    doubles::ApiOverride<QVWinApi::ISpoolerApi> spooler(g_pSpoolerApi, m_spooler);
    EXPECT_EQ(0u, CPrintUtil::UninstallPrinterDriver(driver.c_str()));
    EXPECT_EQ(0u, SpoolerContents::Read().drivers.count(driver));
    m_spooler.monitorDeleteError = 0;
    EXPECT_EQ(0u, CPrintUtil::UninstallMonitor(monitor.c_str()));
}

TEST_F(PrintUtil, MonitorThatAsksForARestartGivesRebootRequiredAndAnUnknownOneFails)
{
    doubles::ModuleLogFile log(g_pDeviceManagerLibLog, L"monitor");
    m_spooler.monitorDeleteError = 3010;
    {
        doubles::ApiOverride<QVWinApi::ISpoolerApi> spooler(g_pSpoolerApi, m_spooler);
        EXPECT_EQ(DM_E_REBOOT_REQUIRED, CPrintUtil::UninstallMonitor(L"Any Monitor"));
    }
    const std::wstring unknown = Unique(L"Orvane No Such Monitor");
    EXPECT_EQ(DM_E_FAILED, CPrintUtil::UninstallMonitor(unknown.c_str()));
    EXPECT_EQ(1u, log.Count(L"(##) Failed to delete monitor " + unknown + L" with err = 3000")) << Narrow(log.Text());
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, CPrintUtil::UninstallMonitor(nullptr));
}

}  // namespace
