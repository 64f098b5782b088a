// A network device's record on a full disk: the save fails and says so,
// the record stays as it was, and once there is space a save writes it
// whole again.
#include <windows.h>

#include <string>

#include "devicemanager/DeviceManagerTypes.h"
#include "devicemanager/NetworkRecord.h"
#include "doubles/ModuleLogFile.h"
#include "logging/LogModules.h"
#include "reliability/FaultRow.h"
#include "reliability/FullDisk.h"

using namespace QVDeviceManager;
using namespace devicemanager_test;

namespace reliability {
namespace {

bool StartsWithIgnoringCase(const std::wstring& text, const std::wstring& head)
{
    return text.size() >= head.size()
        && CompareStringOrdinal(text.c_str(), static_cast<int>(head.size()), head.c_str(),
                                static_cast<int>(head.size()), TRUE)
        == CSTR_EQUAL;
}

// A record rewritten longer than the page it had, on a disk left with
// `leaveFree` bytes: the save fails, the record stays byte for byte and
// loads as before, and once there is space the save writes it whole.
Outcome RecordOnAFullDisk(DWORD leaveFree)
{
    Outcome outcome;
    const std::wstring small = ScriptSetting(L"ORVANE_FULL_FOLDER");
    outcome.Check(!small.empty(), "ORVANE_FULL_FOLDER is not set: run through tests/reliability/fault-matrix.sh");
    outcome.Check(StartsWithIgnoringCase(CNetworkDevice::RecordFolder(), small),
                  "the records are not on the small disk");
    if (!outcome.problems.empty()) {
        return outcome;
    }
    const std::wstring serial = L"NDFULL" + std::to_wstring(GetCurrentProcessId());
    const std::wstring path = RecordPath(serial);
    DeleteFileW(path.c_str());
    RunLog log(L"fault-record");
    {
        Announced announced(serial, L"urn:uuid:0f8e6a52-3c1d-4b7a-9e21-5d6c7b8a9f01", L"127.0.0.1", L"tamrik-01");
        RecordedDevice saved;
        outcome.Check(saved.Init(&announced, nullptr) == 0, "the announced device was not taken");
        outcome.Check(saved.SaveDeviceInfo(), "the first record was not saved");
    }
    const std::string before = ReadBytes(path);
    CNetworkDevice device;
    outcome.Check(device.Init(serial.c_str(), nullptr) == 0, "the record did not load");
    {
        FullDisk full(small, leaveFree);
        outcome.Check(full.IsFull(), "the disk was not filled: error " + std::to_string(full.LastError()));
        outcome.status = device.SetHostName(std::wstring(6000, L'h').c_str());
    }
    outcome.Check(ReadBytes(path) == before, "the record changed: " + ReadBytes(path));
    outcome.Check(GetFileAttributesW((path + L".tmp").c_str()) == INVALID_FILE_ATTRIBUTES,
                  "the record's copy stayed behind");
    CNetworkDevice kept;
    outcome.Check(kept.Init(serial.c_str(), nullptr) == 0 && kept.GetHostName() == L"tamrik-01",
                  "the record no longer loads as it was");
    {
        Announced announced(serial, L"urn:uuid:0f8e6a52-3c1d-4b7a-9e21-5d6c7b8a9f01", L"127.0.0.1", L"tamrik-02");
        RecordedDevice again;
        outcome.Check(again.Init(&announced, nullptr) == 0 && again.SaveDeviceInfo(),
                      "the record was not saved again once there was space");
    }
    CNetworkDevice whole;
    outcome.Check(whole.Init(serial.c_str(), nullptr) == 0, "the record saved again does not load");
    outcome.Check(ReadBytes(path).find("HostName=tamrik-02\r\n") != std::string::npos,
                  "the record does not hold the new name: " + ReadBytes(path));
    DeleteFileW(path.c_str());
    outcome.lines = log.Lines();
    return outcome;
}

// No room even for the record's copy.
Outcome RecordCopyOnAFullDisk()
{
    return RecordOnAFullDisk(0);
}

// The copy takes the one page left; its new keys don't fit, though the
// platform's write reports success.
Outcome RecordKeysOnAFullDisk()
{
    return RecordOnAFullDisk(4096);
}

}  // namespace

std::vector<FaultRow> RecordRows()
{
    return {
        {"record", "disk full, no room for the copy", RecordCopyOnAFullDisk, DM_E_FAILED,
         {L"(->) CNetworkDevice::SetHostName", L"(->) CNetworkDevice::SaveDeviceInfo", L"(->) CStagedFile::Begin",
          L"(<-) CStagedFile::Begin", L"(**) [Err: 0x00000070] Disk full.", L"(<-) CNetworkDevice::SaveDeviceInfo",
          L"(**) [Err: 0x00000070] Disk full.", L"(##) SaveDeviceInfo failed", L"(<-) CNetworkDevice::SetHostName",
          ScopeErrorLine(L"0x83E8FAFF")}},
        {"record", "disk full, the copy cut short", RecordKeysOnAFullDisk, DM_E_FAILED,
         {L"(->) CNetworkDevice::SetHostName", L"(->) CNetworkDevice::SaveDeviceInfo", L"(<-) CStagedFile::Begin",
          L"(<-) CNetworkDevice::SaveDeviceInfo", L"(**) [Err: 0x0000001D] Write fault.", L"(##) SaveDeviceInfo failed",
          L"(<-) CNetworkDevice::SetHostName", ScopeErrorLine(L"0x83E8FAFF")}},
    };
}

}  // namespace reliability
