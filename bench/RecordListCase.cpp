#include "RecordListCase.h"

#include <windows.h>

#include <cstdio>
#include <memory>
#include <string>

#include "devicemanager/CNetworkDevices.h"
#include "utils/CIniFile.h"

namespace bench {

namespace {

const wchar_t kPrefix[] = L"BENCHREC";

std::wstring PathOf(unsigned long index)
{
    wchar_t name[32];
    std::swprintf(name, 32, L"%s%04lu", kPrefix, index);
    return QVDeviceManager::CNetworkDevice::RecordPath(name);
}

// The record's file object, counting the profile reads, each of which
// opens the file.
class CountingIniFile : public QVUtils::CIniFile {
public:
    explicit CountingIniFile(unsigned long long* opens) : m_pOpens(opens) {}
    bool GetString(const wchar_t* section, const wchar_t* key, std::wstring& out) const override
    {
        ++*m_pOpens;
        return CIniFile::GetString(section, key, out);
    }
    using CIniFile::GetString;

private:
    unsigned long long* m_pOpens;
};

class CountedDevice : public QVDeviceManager::CNetworkDevice {
public:
    explicit CountedDevice(unsigned long long* opens) : CNetworkDevice(&m_counting), m_counting(opens) {}

private:
    CountingIniFile m_counting;
};

class CountedDevices : public QVDeviceManager::CNetworkDevices {
public:
    explicit CountedDevices(unsigned long long* opens) : m_pOpens(opens) {}

protected:
    std::unique_ptr<QVDeviceManager::CNetworkDevice> NewDevice() override
    {
        return std::make_unique<CountedDevice>(m_pOpens);
    }

private:
    unsigned long long* m_pOpens;
};

}  // namespace

RecordFolder::RecordFolder(unsigned long count) : m_ulCount(count)
{
    ::CreateDirectoryW(QVDeviceManager::CNetworkDevice::RecordFolder().c_str(), nullptr);
    m_bReady = true;
    for (unsigned long i = 0; m_bReady && i < count; ++i) {
        char text[512];
        const int size = std::snprintf(
            text, sizeof text,
            "[DeviceInfo]\r\nSerialNumber=%ls%04lu\r\nModelName=ZQ Tamrik 500\r\n"
            "GUID=urn:uuid:0f8e6a52-3c1d-4b7a-9e21-5d6c%06lu\r\nMAC=00:11:22:33:44:55\r\n"
            "HostName=tamrik-%04lu\r\nIPAddress=192.0.2.%lu\r\nNetworkType=Ethernet\r\nOffSubNet=false\r\n"
            "MulticastEnabled=true\r\nDefaultToSearchByIP=true\r\n[ConfigInfo]\r\nPortNumber=8080\r\n",
            kPrefix, i, i, i, i % 250 + 1);
        HANDLE file = ::CreateFileW(PathOf(i).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
        DWORD written = 0;
        m_bReady = file != INVALID_HANDLE_VALUE && ::WriteFile(file, text, size, &written, nullptr);
        ::CloseHandle(file);
    }
}

RecordFolder::~RecordFolder()
{
    for (unsigned long i = 0; i < m_ulCount; ++i) {
        ::DeleteFileW(PathOf(i).c_str());
    }
}

RecordListCase::RecordListCase(const std::string& id, RecordFolder* folder, bool ours)
    : BenchCase(id, Unit::NanosecondsPerOp), m_pFolder(folder), m_bOurs(ours)
{
}

bool RecordListCase::Begin()
{
    m_ulSteps = 0;
    m_ullOpens = 0;
    m_ullListed = 0;
    return m_pFolder->Ready();
}

bool RecordListCase::ReadEachOnce()
{
    const std::wstring folder = QVDeviceManager::CNetworkDevice::RecordFolder();
    WIN32_FIND_DATAW found = {};
    HANDLE search = ::FindFirstFileW((folder + L"\\*.ini").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) {
        return false;
    }
    unsigned long read = 0;
    do {
        HANDLE file = ::CreateFileW((folder + L"\\" + found.cFileName).c_str(), GENERIC_READ, FILE_SHARE_READ,
                                    nullptr, OPEN_EXISTING, 0, nullptr);
        char text[4096];
        DWORD bytes = 0;
        read += file != INVALID_HANDLE_VALUE && ::ReadFile(file, text, sizeof text, &bytes, nullptr) && bytes > 0;
        ::CloseHandle(file);
    } while (::FindNextFileW(search, &found));
    ::FindClose(search);
    m_ullListed += read;
    m_ullOpens += read;
    return read >= m_pFolder->Count();
}

unsigned long long RecordListCase::Step()
{
    ++m_ulSteps;
    if (!m_bOurs) {
        return ReadEachOnce() ? 1 : 0;
    }
    CountedDevices devices(&m_ullOpens);
    const bool listed = devices.GetInstalledDevices(nullptr) == 0 && devices.GetCount() >= m_pFolder->Count();
    m_ullListed += devices.GetCount();
    return listed ? 1 : 0;
}

void RecordListCase::End()
{
    if (m_ulSteps != 0 && m_ullListed != 0) {
        std::printf("seam %s %.1f %.0f\n", Id().c_str(), static_cast<double>(m_ullOpens) / m_ullListed,
                    static_cast<double>(m_ullListed) / m_ulSteps);
        std::fflush(stdout);
    }
}

}  // namespace bench
