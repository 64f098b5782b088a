// A test of the USB connection on the virtual printer: the plugged device
// for the whole suite, fresh records and plugs for each test, the USB and
// connection base log modules writing to a file.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "UsbTestSupport.h"
#include "api/QVUSBDeviceConnection.h"
#include "devicemanager/DeviceManagerTypes.h"
#include "doubles/ModuleLogFile.h"
#include "iostack/CIOUSB.h"
#include "iostack/IOStatus.h"
#include "logging/LogModules.h"

namespace usb_test {

// A connection with its one reference, given back at the end.
template <typename T>
class Held {
public:
    Held() : m_object(new T()) { m_object->AddRef(); }
    ~Held() { m_object->Dispose(); }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    T* operator->() { return m_object; }
    T& operator*() { return *m_object; }

private:
    T* m_object;
};

class UsbFixture : public ::testing::Test {
protected:
    static void SetUpTestSuite() { s_device = std::make_unique<PluggedDevice>(); }
    static void TearDownTestSuite() { s_device.reset(); }

    void SetUp() override
    {
        ASSERT_EQ(s_device->Error(), "");
        for (auto type : {QVDeviceManager::FUNCTION_TYPE_PRINT, QVDeviceManager::FUNCTION_TYPE_CONFIG,
                          QVDeviceManager::FUNCTION_TYPE_SCAN}) {
            Printer().ClearRecords(DriverFunction(type));
            ASSERT_TRUE(s_device->Plug(type));
        }
    }
    void TearDown() override
    {
        if (HasFailure() && m_log) {
            std::printf("%ls", m_log->Text().c_str());
        }
    }

    // The log of this test, from now on.
    doubles::ModuleLogFile& Log(const wchar_t* name)
    {
        m_log = std::make_unique<doubles::ModuleLogFile>(
            std::initializer_list<QVLogging::CLogModule*>{g_pIOUSBLog, g_pIOCommonLog, g_pDeviceManagerLibLog}, name);
        return *m_log;
    }

    static PluggedDevice& Device() { return *s_device; }
    static usbprinter::VirtualUsbPrinter& Printer() { return s_device->Printer(); }
    static std::wstring PrintPath() { return s_device->PathOf(QVDeviceManager::FUNCTION_TYPE_PRINT); }
    static std::list<QVDeviceManager::FUNCTION_TYPE> PrintOnly() { return {QVDeviceManager::FUNCTION_TYPE_PRINT}; }

    // The machine-wide name of a path's channel claim.
    static std::wstring LockName(const std::wstring& path)
    {
        std::wstring name = path;
        for (wchar_t& c : name) {
            c = c == L'\\' ? L'#' : c;
        }
        return L"Global\\" + name;
    }

    static void Supply(const std::string& bytes)
    {
        Printer().Supply(USBPRINTER_FUNCTION_PRINT, bytes.data(), bytes.size());
    }
    static std::vector<unsigned long> DeviceReads() { return Printer().ReadSizes(USBPRINTER_FUNCTION_PRINT); }
    // Waits for the device to have seen `count` requests of a kind.
    static bool WaitForReads(size_t count)
    {
        return Printer().WaitFor([count] { return DeviceReads().size() >= count; }, 10000);
    }
    static bool WaitForWrites(size_t count)
    {
        return Printer().WaitFor(
            [count] { return Printer().WriteSizes(USBPRINTER_FUNCTION_PRINT).size() >= count; }, 10000);
    }
    static std::string ReceivedText()
    {
        const std::vector<unsigned char> bytes = Printer().Received(USBPRINTER_FUNCTION_PRINT);
        return std::string(bytes.begin(), bytes.end());
    }

    // Waits until a process wrote `text` as a whole line into the log,
    // woken by changes to the log's folder; false after `ms`.
    static bool WaitForLine(const doubles::ModuleLogFile& log, DWORD processId, const std::wstring& text, DWORD ms)
    {
        const std::wstring folder = log.File().substr(0, log.File().find_last_of(L"\\/"));
        HANDLE change = FindFirstChangeNotificationW(folder.c_str(), FALSE,
                                                     FILE_NOTIFY_CHANGE_SIZE | FILE_NOTIFY_CHANGE_LAST_WRITE);
        const DWORD start = GetTickCount();
        bool found = false;
        for (;;) {
            for (const std::wstring& line : log.LinesOf(processId)) {
                found = found || line == text;
            }
            const DWORD spent = GetTickCount() - start;
            if (found || spent >= ms || change == INVALID_HANDLE_VALUE) {
                break;
            }
            WaitForSingleObject(change, ms - spent);
            FindNextChangeNotification(change);
        }
        if (change != INVALID_HANDLE_VALUE) {
            FindCloseChangeNotification(change);
        }
        return found;
    }

    // Reads `size` bytes at most once; the text read.
    template <typename T>
    static std::string ReadOnce(T& connection, unsigned long size, unsigned long* status)
    {
        std::string buffer(size, '\0');
        unsigned long count = 0;
        *status = connection->Read(&buffer[0], size, &count, nullptr);
        buffer.resize(count);
        return buffer;
    }

private:
    static std::unique_ptr<PluggedDevice> s_device;
    std::unique_ptr<doubles::ModuleLogFile> m_log;
};

}  // namespace usb_test
