// What becomes of a record file when a save is cut short, when two
// processes save one device at once, when the user edited the file by hand,
// and when the file can't be written. The saving processes are
// record-saver.exe (devicemanager/saver).
#include <gtest/gtest.h>

#include <windows.h>

#include <fstream>
#include <filesystem>
#include <string>

#include "NetworkRecord.h"
#include "devicemanager/CNetworkDevice.h"
#include "devicemanager/CNetworkDevices.h"
#include "devicemanager/DeviceManagerTypes.h"
#include "doubles/ModuleLogFile.h"
#include "logging/LogModules.h"
#include "tools/ChildProcess.h"
#include "utils/CIniFile.h"

using namespace QVDeviceManager;
using namespace devicemanager_test;

namespace {

// The record's file object, cutting the file to half its bytes after the
// write of one key and reporting success all the same.
class CuttingIniFile : public QVUtils::CIniFile {
public:
    explicit CuttingIniFile(const std::wstring& key) : m_key(key) {}
    bool SetString(const wchar_t* section, const wchar_t* key, const wchar_t* value) override
    {
        const bool written = CIniFile::SetString(section, key, value);
        if (written && m_key == key) {
            HANDLE file = ::CreateFileW(GetFileName().c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
            ::SetFilePointer(file, static_cast<LONG>(::GetFileSize(file, nullptr) / 2), nullptr, FILE_BEGIN);
            ::SetEndOfFile(file);
            ::CloseHandle(file);
        }
        return written;
    }
    using CIniFile::SetString;

private:
    std::wstring m_key;
};

// One saving process: record-saver.exe, beside this program, told what to
// save by its arguments.
class SavingProcess {
public:
    SavingProcess(const std::wstring& serial, const std::wstring& ip, const std::wstring& host, unsigned long rounds,
                  unsigned long stopAfter, const std::wstring& event = L"")
    {
        std::wstring command = L"\"" + toolstest::ChildProcess::BinaryFolder() + L"record-saver.exe\" " + serial + L" "
            + ip + L" " + host + L" " + std::to_wstring(rounds) + L" " + std::to_wstring(stopAfter);
        if (!event.empty()) {
            command += L" " + event;
        }
        STARTUPINFOW startup = {};
        startup.cb = sizeof startup;
        m_started = ::CreateProcessW(nullptr, &command[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                                     &m_process)
            != FALSE;
    }
    ~SavingProcess()
    {
        if (m_started) {
            ::TerminateProcess(m_process.hProcess, 1);
            ::WaitForSingleObject(m_process.hProcess, 10000);
            ::CloseHandle(m_process.hThread);
            ::CloseHandle(m_process.hProcess);
        }
    }
    bool Started() const { return m_started; }
    // The exit code, or -1 while it runs after `ms`.
    int Wait(DWORD ms)
    {
        if (::WaitForSingleObject(m_process.hProcess, ms) != WAIT_OBJECT_0) {
            return -1;
        }
        DWORD code = 0;
        ::GetExitCodeProcess(m_process.hProcess, &code);
        return static_cast<int>(code);
    }
    void Kill()
    {
        ::TerminateProcess(m_process.hProcess, 9);
        ::WaitForSingleObject(m_process.hProcess, 10000);
    }

private:
    PROCESS_INFORMATION m_process = {};
    bool m_started = false;
};

class RecordSafety : public testing::Test {
protected:
    void SetUp() override { ::DeleteFileW(m_path.c_str()); }
    void TearDown() override
    {
        ::SetFileAttributesW(m_path.c_str(), FILE_ATTRIBUTE_NORMAL);
        ::DeleteFileW(m_path.c_str());
        ::DeleteFileW(m_staged.c_str());
        if (HasFailure()) {
            std::wcerr << m_log.Text();
        }
    }
    // A whole record of the serial number, as a device of that address saves it.
    void SaveWhole(const std::wstring& ip, const std::wstring& host)
    {
        SavingProcess saving(m_serial, ip, host, 1, 0);
        ASSERT_TRUE(saving.Started());
        ASSERT_EQ(0, saving.Wait(60000));
    }
    // The saving process stopped for good after `writes` keys, then killed.
    void KillAfter(unsigned long writes, const std::wstring& ip, const std::wstring& host)
    {
        const std::wstring name = L"OrvaneRecordStopped-" + std::to_wstring(::GetCurrentProcessId());
        HANDLE stopped = ::CreateEventW(nullptr, TRUE, FALSE, name.c_str());
        SavingProcess saving(m_serial, ip, host, 1, writes, name);
        ASSERT_TRUE(saving.Started());
        const DWORD waited = ::WaitForSingleObject(stopped, 60000);
        ::CloseHandle(stopped);
        ASSERT_EQ(WAIT_OBJECT_0, waited) << "the saving process never reached its write " << writes;
        saving.Kill();
    }

    const std::wstring m_serial = L"NDSAFE" + std::to_wstring(::GetCurrentProcessId());
    const std::string m_narrowSerial = std::string(m_serial.begin(), m_serial.end());
    const std::wstring m_path = RecordPath(m_serial);
    const std::wstring m_staged = m_path + L".tmp";
    doubles::ModuleLogFile m_log{{g_pDeviceManagerLibLog, g_pUtilsLog}, L"netsafe"};
};

// The lines of a record a child saves: its device is wireless, and it
// searches by host name first.
std::vector<std::string> ChildLines(const std::string& serial, const std::string& ip, const std::string& host)
{
    std::vector<std::string> lines = DeviceInfoLines(serial, ip, host, "true", "true", "false");
    lines[7] = "NetworkType=Wireless";
    return lines;
}

}  // namespace

// The keys go to a copy of the record: a save stopped between two of its
// writes leaves the record as it was, and the next save writes over the
// copy it left.
TEST_F(RecordSafety, SaveKilledBetweenTwoWritesLeavesTheOldRecordWhole)
{
    SaveWhole(L"127.0.0.1", L"tamrik-01");
    ASSERT_EQ(ChildLines(m_narrowSerial, "127.0.0.1", "tamrik-01"), ReadLines(m_path));
    KillAfter(5, L"127.0.0.2", L"tamrik-02");
    EXPECT_EQ(ChildLines(m_narrowSerial, "127.0.0.1", "tamrik-01"), ReadLines(m_path));
    CNetworkDevice device;
    ASSERT_EQ(0u, device.Init(m_serial.c_str(), nullptr));
    EXPECT_EQ(L"tamrik-01", device.GetHostName());
    EXPECT_EQ(L"127.0.0.1", device.GetIPAddress());
    // The killed process held the record's lock: the next save takes it over.
    EXPECT_EQ(0u, device.SetIPAddress(L"127.0.0.2"));
    EXPECT_EQ(ChildLines(m_narrowSerial, "127.0.0.2", "tamrik-01"), ReadLines(m_path));
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, ::GetFileAttributesW(m_staged.c_str()));
}

TEST_F(RecordSafety, SaveKilledAfterItsLastWriteBeforeTheCopyTookThePlaceLeavesTheOldRecord)
{
    SaveWhole(L"127.0.0.1", L"tamrik-01");
    KillAfter(10, L"127.0.0.2", L"tamrik-02");
    EXPECT_EQ(ChildLines(m_narrowSerial, "127.0.0.1", "tamrik-01"), ReadLines(m_path));
    EXPECT_EQ(ChildLines(m_narrowSerial, "127.0.0.2", "tamrik-02"), ReadLines(m_staged)) << "the copy is whole";
}

// A first save cut short leaves no record: the device is not installed
// and the copy's name is no record's, until a whole save.
TEST_F(RecordSafety, FirstSaveKilledLeavesNoRecord)
{
    KillAfter(3, L"127.0.0.1", L"tamrik-01");
    const std::vector<std::string> whole = ChildLines(m_narrowSerial, "127.0.0.1", "tamrik-01");
    EXPECT_EQ(std::vector<std::string>(whole.begin(), whole.begin() + 4), ReadLines(m_staged));
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, ::GetFileAttributesW(m_path.c_str()));
    CNetworkDevice device;
    EXPECT_EQ(DM_E_NOT_FOUND, device.Init(m_serial.c_str(), nullptr));
    CNetworkDevices devices;
    ASSERT_EQ(0u, devices.GetInstalledDevices(nullptr));
    CNetworkDevice* found = nullptr;
    EXPECT_EQ(DM_E_NOT_FOUND, devices.FindDevice(m_serial.c_str(), &found));
    SaveWhole(L"127.0.0.1", L"tamrik-01");
    EXPECT_EQ(whole, ReadLines(m_path));
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, ::GetFileAttributesW(m_staged.c_str()));
}

// The platform's write reports success on a full disk for a file it wrote
// only in part. A double at the record's file seam cuts the file after the
// write of the host name and reports success, as the platform does there:
// a test of this suite has no full disk (the fault matrix has one). The
// save reads the keys back, finds the cut, and leaves the record as it was.
TEST_F(RecordSafety, WriteReportedDoneButCutShortFailsTheSaveAndKeepsTheRecordByteForByte)
{
    SaveWhole(L"127.0.0.1", L"tamrik-01");
    const std::string before = ReadBytes(m_path);
    CuttingIniFile ini(L"HostName");
    RecordedDevice device(&ini);
    ASSERT_EQ(0u, device.Init(m_serial.c_str(), nullptr));
    EXPECT_EQ(DM_E_FAILED, device.SetHostName(L"tamrik-02"));
    EXPECT_EQ(1u, m_log.Count(L"(##) SaveDeviceInfo failed"));
    EXPECT_EQ(before, ReadBytes(m_path));
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, ::GetFileAttributesW(m_staged.c_str()));
    EXPECT_EQ(1u, m_log.Count(L"(**) [Err: 0x0000001D] Write fault.")) << m_log.Text();
    CNetworkDevice kept;
    ASSERT_EQ(0u, kept.Init(m_serial.c_str(), nullptr));
    EXPECT_EQ(L"tamrik-01", kept.GetHostName());
}

// Each save holds the record's lock for its ten writes.
TEST_F(RecordSafety, TwoProcessesSavingTheSameDeviceAtOnceEndWithOneWholeRecord)
{
    SavingProcess first(m_serial, L"127.0.0.11", L"tamrik-11", 40, 0);
    SavingProcess second(m_serial, L"127.0.0.12", L"tamrik-12", 40, 0);
    ASSERT_TRUE(first.Started());
    ASSERT_TRUE(second.Started());
    EXPECT_EQ(0, first.Wait(120000));
    EXPECT_EQ(0, second.Wait(120000));
    const std::vector<std::string> lines = ReadLines(m_path);
    EXPECT_TRUE(lines == ChildLines(m_narrowSerial, "127.0.0.11", "tamrik-11")
                || lines == ChildLines(m_narrowSerial, "127.0.0.12", "tamrik-12"))
        << RecordText(lines);
}

// Written by hand: a byte order mark, line feeds alone, a comment, keys and
// a section of the user's, a truth value and a network type that the record
// doesn't know. Read as the record's rules say; a save rewrites the ten keys
// and keeps everything else.
TEST_F(RecordSafety, HandEditedRecordIsReadByItsRulesAndASaveKeepsTheUsersLines)
{
    const std::string serial = m_narrowSerial;
    WriteBytes(m_path, "\xEF\xBB\xBF; the printer of room 4\n[DeviceInfo]\nSerialNumber=" + serial
                           + "\nModelName=ZQ Tamrik 500\nGUID=urn:uuid:0f8e6a52-3c1d-4b7a-9e21-5d6c7b8a9f01\n"
                             "MAC=00:11:22:33:44:55\nRoom=4\nHostName=tamrik-01\nIPAddress=127.0.0.1\n"
                             "NetworkType=Fibre\nOffSubNet=yes\nMulticastEnabled=True\nDefaultToSearchByIP=false\n"
                             "\n[UserNotes]\nOwner=Ana\n");
    CNetworkDevice device;
    ASSERT_EQ(0u, device.Init(m_serial.c_str(), nullptr));
    EXPECT_EQ(0u, device.GetNetworkType());
    EXPECT_TRUE(device.GetMulticastEnabled());
    EXPECT_FALSE(device.GetDefaultToSearchByIP());
    EXPECT_EQ(L"127.0.0.1", device.GetIPAddress());
    device.SetMulticastEnabled(false);
    const std::string bytes = ReadBytes(m_path);
    EXPECT_EQ(0u, bytes.rfind("\xEF\xBB\xBF", 0)) << "the byte order mark stays";
    EXPECT_EQ(std::vector<std::string>({"\xEF\xBB\xBF; the printer of room 4", "[DeviceInfo]",
                                        "SerialNumber=" + serial, "ModelName=ZQ Tamrik 500",
                                        "GUID=urn:uuid:0f8e6a52-3c1d-4b7a-9e21-5d6c7b8a9f01",
                                        "MAC=00:11:22:33:44:55", "Room=4", "HostName=tamrik-01",
                                        "IPAddress=127.0.0.1", "NetworkType=Unknown", "OffSubNet=false",
                                        "MulticastEnabled=false", "DefaultToSearchByIP=false", "[UserNotes]",
                                        "Owner=Ana"}),
              ReadLines(m_path))
        << "Wine's profile functions drop the empty line between sections";
}

// A record missing a key the load needs isn't loaded, and nothing writes
// it: the user's file stays byte for byte.
TEST_F(RecordSafety, HandEditedRecordMissingARequiredKeyIsLeftAsItIs)
{
    const std::string text = "[DeviceInfo]\r\nSerialNumber=" + m_narrowSerial
        + "\r\nModelName=ZQ Tamrik 500\r\nGUID=urn:uuid:0f8e6a52-3c1d-4b7a-9e21-5d6c7b8a9f01\r\n"
          "HostName=tamrik-01\r\nIPAddress=127.0.0.1\r\nOffSubNet=false\r\nMulticastEnabled=true\r\n"
          "DefaultToSearchByIP=true\r\n";
    WriteBytes(m_path, text);
    CNetworkDevice device;
    EXPECT_EQ(DM_E_NOT_FOUND, device.Init(m_serial.c_str(), nullptr));
    device.SetMulticastEnabled(false);
    EXPECT_EQ(0u, device.SetIPAddress(L"127.0.0.2")) << "an object that loaded nothing has no record to save";
    EXPECT_EQ(L"", device.GetSerialNumber());
    CNetworkDevices devices;
    ASSERT_EQ(0u, devices.GetInstalledDevices(nullptr));
    EXPECT_EQ(text, ReadBytes(m_path));
}

TEST_F(RecordSafety, LockedRecordFailsTheSaveWithALogLine)
{
    SaveWhole(L"127.0.0.1", L"tamrik-01");
    CNetworkDevice device;
    ASSERT_EQ(0u, device.Init(m_serial.c_str(), nullptr));
    const std::string before = ReadBytes(m_path);
    HANDLE locked = ::CreateFileW(m_path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, locked);
    EXPECT_EQ(DM_E_FAILED, device.SetIPAddress(L"127.0.0.2"));
    device.SetMulticastEnabled(false);
    ::CloseHandle(locked);
    EXPECT_EQ(1u, m_log.Count(L"(##) SaveDeviceInfo failed"));
    EXPECT_EQ(1u, m_log.Count(L"(##) SetMulticastEnabled -- SaveDeviceInfo failed"));
    EXPECT_EQ(before, ReadBytes(m_path));
}

// The read-only attribute is a permission bit to Wine, and the tests run as
// root, whom no permission bit stops: Wine writes a read-only record. What
// the save gives there is shown here; a refused write is the locked case
// above.
TEST_F(RecordSafety, ReadOnlyRecordIsWrittenAllTheSameByWineForRoot)
{
    SaveWhole(L"127.0.0.1", L"tamrik-01");
    CNetworkDevice device;
    ASSERT_EQ(0u, device.Init(m_serial.c_str(), nullptr));
    ASSERT_TRUE(::SetFileAttributesW(m_path.c_str(), FILE_ATTRIBUTE_READONLY));
    EXPECT_EQ(0u, device.SetHostName(L"tamrik-02"));
    EXPECT_EQ(0u, m_log.Count(L"(##) SaveDeviceInfo failed"));
    EXPECT_EQ(ChildLines(m_narrowSerial, "127.0.0.1", "tamrik-02"), ReadLines(m_path));
    EXPECT_NE(0u, ::GetFileAttributesW(m_path.c_str()) & FILE_ATTRIBUTE_READONLY) << "the attribute stays";
}

// "config.ini" beside the test program's folder is read once by a process:
// the case runs in a process of its own.
int ConfiguredModelCase()
{
    const std::filesystem::path config = [] {
        wchar_t module[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, module, MAX_PATH);
        return std::filesystem::path(module).parent_path().parent_path() / L"config.ini";
    }();
    std::ofstream(config) << "[DeviceInfo]\r\nModelName=zq tamrik 900\r\n";
    int failures = 0;
    {
        const std::wstring serial = L"NDMODEL" + std::to_wstring(::GetCurrentProcessId());
        RecordedDevice saved;
        Announced announced(serial, kRecordGuid, L"127.0.0.1", L"tamrik-01");
        failures += saved.Init(&announced, nullptr) == DM_E_WRONG_USB_ID ? 0 : 1;
        failures += saved.GetHostName() == L"tamrik-01" && saved.HasFunction(FUNCTION_TYPE_PRINT) ? 0 : 2;
        saved.SaveDeviceInfo();
        CNetworkDevice other;
        failures += other.Init(serial.c_str(), nullptr) == DM_E_WRONG_USB_ID ? 0 : 4;
        failures += other.GetModelName() == L"ZQ Tamrik 500" ? 0 : 8;
        Announced configured(serial + L"B", kRecordGuid, L"127.0.0.1", L"tamrik-01");
        configured.SetModel(L"Tamrik 900");
        CNetworkDevice same;
        failures += same.Init(&configured, nullptr) == 0 ? 0 : 16;
        CNetworkDevices devices;
        CNetworkDevice* found = nullptr;
        failures += devices.GetInstalledDevices(nullptr) == 0 && devices.FindDevice(serial.c_str(), &found) != 0 ? 0 : 32;
        ::DeleteFileW(RecordPath(serial).c_str());
    }
    std::filesystem::remove(config);
    return failures;
}

// Edge: a model name configured for the installation.
TEST(RecordModelDeathTest, ConfiguredModelNameRefusesADeviceOfAnotherModelAfterReadingItWhole)
{
    EXPECT_EXIT(exit(ConfiguredModelCase()), testing::ExitedWithCode(0), "");
}
