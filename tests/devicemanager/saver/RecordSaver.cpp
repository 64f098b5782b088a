// record-saver.exe: a second process that saves a network device's record,
// for the tests of saves cut short and of two processes saving at once.
//   record-saver SERIAL IP HOST ROUNDS STOP-AFTER [STOPPED-EVENT]
// Records a wireless device of that serial number, address and host name
// that searches by host name first, and saves it ROUNDS times. With
// STOP-AFTER above 0 it sets the named event after that many written keys
// and stops there for good, to be killed.
#include <windows.h>

#include <cstdio>
#include <cwchar>
#include <string>

#include "NetworkRecord.h"
#include "utils/CIniFile.h"

using namespace devicemanager_test;

namespace {

// The record's file object, stopping its process for good after a given
// number of written keys, once it told the test so by a named event. A
// double at the record's file seam: the platform has no way to stop a
// process between two of its profile writes; every write still reaches the
// real profile functions.
class StoppingIniFile : public QVUtils::CIniFile {
public:
    StoppingIniFile(unsigned long stopAfter, const std::wstring& event) : m_stopAfter(stopAfter), m_event(event) {}
    bool SetString(const wchar_t* section, const wchar_t* key, const wchar_t* value) override
    {
        const bool written = CIniFile::SetString(section, key, value);
        if (++m_writes == m_stopAfter) {
            HANDLE event = ::OpenEventW(EVENT_MODIFY_STATE, FALSE, m_event.c_str());
            ::SetEvent(event);
            ::Sleep(INFINITE);
        }
        return written;
    }
    using CIniFile::SetString;

private:
    unsigned long m_stopAfter;
    unsigned long m_writes = 0;
    std::wstring m_event;
};

}  // namespace

int wmain(int argc, wchar_t** argv)
{
    if (argc != 6 && argc != 7) {
        std::fprintf(stderr, "usage: record-saver SERIAL IP HOST ROUNDS STOP-AFTER [STOPPED-EVENT]\n");
        return 2;
    }
    StoppingIniFile ini(std::wcstoul(argv[5], nullptr, 10), argc == 7 ? argv[6] : L"");
    RecordedDevice device(&ini);
    Announced announced(argv[1], kRecordGuid, argv[2], argv[3]);
    announced.SetAdapter(QVDiscovery::kAdapterWireless);
    const unsigned long status = device.Init(&announced, nullptr);
    if (status != 0) {
        std::fprintf(stderr, "record-saver: Init gave 0x%08lX\n", status);
        return 1;
    }
    device.SetDefaultToSearchByIP(false);
    const unsigned long rounds = std::wcstoul(argv[4], nullptr, 10);
    for (unsigned long round = 0; round < rounds; ++round) {
        if (!device.SaveDeviceInfo()) {
            std::fprintf(stderr, "record-saver: save %lu of %lu failed\n", round + 1, rounds);
            return 1;
        }
    }
    return 0;
}
