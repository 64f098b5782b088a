#include "UsbTestSupport.h"

#include "devicemanager/DeviceManagerTypes.h"
#include "usbprinter/UsbPrinterDriver.h"

using namespace QVDeviceManager;

namespace usb_test {

namespace {

// The device interface class of the bulk library's channel.
constexpr GUID kInterfaceFxBulkHesk = {0x211CD2C1, 0xA63E, 0x4164, {0x9E, 0x17, 0xFD, 0xA3, 0xFE, 0x1F, 0x79, 0xFF}};

}  // namespace

peers::DeviceTree UsbTree()
{
    peers::DeviceTree tree;
    tree.CompositeMFP(kVidPid, kSerial, L"USB031", L"USB032");
    // The configuration node is the last of a composite device.
    tree.CompositeMFP(L"VID_1234&PID_5679", kRestSerial, L"USB033", L"USB034");
    peers::DescribedNode& rest = tree.Nodes().back();
    rest.service = L"usbscan";
    rest.parameters[L"REST"] = 1;
    rest.interfaces = {peers::kInterfaceImage};
    tree.CompositeMFP(L"VID_1234&PID_567A", kHeskSerial, L"USB035", L"USB036");
    tree.Nodes().back().service = L"ZQFXBULKHESK";
    tree.Nodes().back().interfaces = {kInterfaceFxBulkHesk};
    tree.CompositeMFP(L"VID_1234&PID_567B", kNoConfigSerial, L"USB037", L"USB038");
    tree.Nodes().pop_back();
    return tree;
}

usbprinter::VirtualUsbPrinter* Printer(std::string* error)
{
    static std::string attachError;
    static usbprinter::VirtualUsbPrinter* printer = [] {
        auto* made = new usbprinter::VirtualUsbPrinter();
        if (!made->Attach(usbprinter::UsbPrinterDriverBesideProgram(), &attachError)) {
            delete made;
            return static_cast<usbprinter::VirtualUsbPrinter*>(nullptr);
        }
        return made;
    }();
    *error = attachError;
    return printer;
}

int DriverFunction(FUNCTION_TYPE type)
{
    switch (type) {
    case FUNCTION_TYPE_CONFIG:
        return USBPRINTER_FUNCTION_CONFIG;
    case FUNCTION_TYPE_SCAN:
        return USBPRINTER_FUNCTION_SCAN;
    default:
        return USBPRINTER_FUNCTION_PRINT;
    }
}

PluggedDevice::PluggedDevice() : m_tree(UsbTree())
{
    if (!m_tree.Error().empty()) {
        m_error = "the device tree was not registered: " + devicemanager_test::Narrow(m_tree.Error());
        return;
    }
    m_printer = usb_test::Printer(&m_error);
    if (m_printer == nullptr) {
        m_error = "the virtual USB printer is not there: " + m_error;
        return;
    }
    const unsigned long found = m_device.Init(kSerial, nullptr);
    if (found != 0) {
        m_error = "the device was not found in the tree: " + std::to_string(found);
        return;
    }
    for (FUNCTION_TYPE type : {FUNCTION_TYPE_PRINT, FUNCTION_TYPE_CONFIG, FUNCTION_TYPE_SCAN}) {
        m_printer->ClearRecords(DriverFunction(type));
        if (!Plug(type)) {
            m_error = "the driver did not take the path " + devicemanager_test::Narrow(PathOf(type));
            return;
        }
    }
}

std::wstring PluggedDevice::PathOf(FUNCTION_TYPE type)
{
    IDeviceFunction* function = nullptr;
    return m_device.GetFunction(type, &function) == 0 ? function->GetAddress() : std::wstring();
}

bool PluggedDevice::Plug(FUNCTION_TYPE type)
{
    return m_printer->Plug(DriverFunction(type), PathOf(type));
}

bool PluggedDevice::Unplug(FUNCTION_TYPE type)
{
    return m_printer->Unplug(DriverFunction(type));
}

std::wstring ProgramFolder()
{
    wchar_t path[MAX_PATH];
    const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder(path, length);
    return folder.substr(0, folder.find_last_of(L"\\/") + 1);
}

}  // namespace usb_test
