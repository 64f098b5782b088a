// The virtual USB printer for the USB tests: the driver started and its
// control device taken once per test program, and one composite device in
// the device tree whose functions' paths the driver serves.
#pragma once

#include <gtest/gtest.h>

#include <windows.h>

#include <memory>
#include <string>

#include "devicemanager/CUSBDevice.h"
#include "devicemanager/DescribedTree.h"
#include "usbprinter/VirtualUsbPrinter.h"

namespace usb_test {

constexpr wchar_t kVidPid[] = L"VID_1234&PID_5678";
constexpr wchar_t kSerial[] = L"ZQUSB0001";
// Devices beside it whose configuration channel is of the other kinds: a
// plain channel ("REST"), the bulk library's ("ZQFXBULKHESK"), and none.
constexpr wchar_t kRestSerial[] = L"ZQUSB0002";
constexpr wchar_t kHeskSerial[] = L"ZQUSB0003";
constexpr wchar_t kNoConfigSerial[] = L"ZQUSB0004";

// The tree every USB test program describes, the same in each process.
peers::DeviceTree UsbTree();

// The device side, attached once per process; null with `error` set when
// the driver cannot be started or attached.
usbprinter::VirtualUsbPrinter* Printer(std::string* error);

// The driver function that serves a device function.
int DriverFunction(QVDeviceManager::FUNCTION_TYPE type);

// The composite device of UsbTree, registered in the prefix for the life of
// the object, found by its serial number, with its print, configuration and
// scan functions plugged into the driver at their device paths.
class PluggedDevice {
public:
    PluggedDevice();
    // Empty when all went well.
    const std::string& Error() const { return m_error; }
    QVDeviceManager::CUSBDevice& Device() { return m_device; }
    usbprinter::VirtualUsbPrinter& Printer() { return *m_printer; }
    std::wstring PathOf(QVDeviceManager::FUNCTION_TYPE type);
    bool Plug(QVDeviceManager::FUNCTION_TYPE type);
    bool Unplug(QVDeviceManager::FUNCTION_TYPE type);

private:
    devicemanager_test::DescribedTree m_tree;
    QVDeviceManager::CUSBDevice m_device;
    usbprinter::VirtualUsbPrinter* m_printer = nullptr;
    std::string m_error;
};

// The test program's folder, with a trailing backslash.
std::wstring ProgramFolder();

}  // namespace usb_test
