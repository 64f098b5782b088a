#pragma once

// What installing a network device can change on the machine, read whole:
// the registry keys of the device tree, the driver keys and the spooler's
// monitors and drivers, the spooler's own lists, and the record folder.
#include <windows.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "NetworkRecord.h"
#include "SpoolerSetup.h"

namespace devicemanager_test {

struct InstallSnapshot {
    std::map<std::wstring, std::wstring> registry;
    std::set<std::wstring> drivers;
    std::set<std::wstring> monitors;
    std::set<std::wstring> queues;
    std::map<std::wstring, std::string> records;

    static InstallSnapshot Take()
    {
        InstallSnapshot snapshot;
        for (const wchar_t* key : {L"System\\CurrentControlSet\\Enum", L"System\\CurrentControlSet\\Control\\Class",
                                   L"System\\CurrentControlSet\\Control\\DeviceClasses",
                                   L"System\\CurrentControlSet\\Control\\Print"}) {
            ReadKey(key, snapshot.registry);
        }
        const SpoolerContents spooler = SpoolerContents::Read();
        snapshot.drivers = spooler.drivers;
        snapshot.monitors = spooler.monitors;
        snapshot.queues = spooler.queues;
        WIN32_FIND_DATAW found = {};
        const std::wstring folder = QVDeviceManager::CNetworkDevice::RecordFolder();
        HANDLE search = ::FindFirstFileW((folder + L"\\*").c_str(), &found);
        if (search != INVALID_HANDLE_VALUE) {
            do {
                const std::wstring name = found.cFileName;
                if (name != L"." && name != L"..") {
                    snapshot.records[name] = ReadBytes(folder + L"\\" + name);
                }
            } while (::FindNextFileW(search, &found));
            ::FindClose(search);
        }
        return snapshot;
    }

    // The entries of one snapshot that the other lacks or holds otherwise.
    static std::wstring Difference(const InstallSnapshot& before, const InstallSnapshot& after)
    {
        std::wstring text;
        for (const auto& entry : before.registry) {
            const auto other = after.registry.find(entry.first);
            if (other == after.registry.end()) {
                text += L"gone: " + entry.first + L"\n";
            } else if (other->second != entry.second) {
                text += L"changed: " + entry.first + L"\n";
            }
        }
        for (const auto& entry : after.registry) {
            if (before.registry.count(entry.first) == 0) {
                text += L"new: " + entry.first + L"\n";
            }
        }
        for (const auto& entry : after.records) {
            if (before.records.count(entry.first) == 0) {
                text += L"new record: " + entry.first + L"\n";
            }
        }
        if (before.drivers != after.drivers || before.monitors != after.monitors || before.queues != after.queues) {
            text += L"spooler lists differ\n";
        }
        if (before.records != after.records) {
            text += L"record folder differs\n";
        }
        return text;
    }

private:
    // Every key below `path` and every value, with its type and bytes.
    static void ReadKey(const std::wstring& path, std::map<std::wstring, std::wstring>& out)
    {
        HKEY key = nullptr;
        if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
            return;
        }
        out[path] = L"(key)";
        for (DWORD i = 0;; ++i) {
            wchar_t name[16384];
            DWORD chars = _countof(name);
            BYTE data[8192];
            DWORD bytes = sizeof data;
            DWORD type = 0;
            if (::RegEnumValueW(key, i, name, &chars, nullptr, &type, data, &bytes) != ERROR_SUCCESS) {
                break;
            }
            std::wstring value = std::to_wstring(type) + L":";
            for (DWORD b = 0; b < bytes; ++b) {
                value += L"0123456789ABCDEF"[data[b] >> 4];
                value += L"0123456789ABCDEF"[data[b] & 15];
            }
            out[path + L"|" + name] = value;
        }
        std::vector<std::wstring> children;
        for (DWORD i = 0;; ++i) {
            wchar_t name[256];
            DWORD chars = _countof(name);
            if (::RegEnumKeyExW(key, i, name, &chars, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
                break;
            }
            children.push_back(name);
        }
        ::RegCloseKey(key);
        for (const std::wstring& child : children) {
            ReadKey(path + L"\\" + child, out);
        }
    }
};

}  // namespace devicemanager_test
