#include "peers/DeviceTree.h"

#include <cstdio>

namespace peers {

namespace classes {
const wchar_t kUSB[] = L"{36FC9E60-C465-11CF-8056-444553540000}";
const wchar_t kPrinter[] = L"{4D36E979-E325-11CE-BFC1-08002BE10318}";
const wchar_t kImage[] = L"{6BDD1FC6-810F-11D0-BEC7-08002BE2092F}";
const wchar_t kDiskDrive[] = L"{4D36E967-E325-11CE-BFC1-08002BE10318}";
}  // namespace classes
const GUID kInterfaceUSBPrint = {0x28D78FAD, 0x5A12, 0x11D1, {0xAE, 0x5B, 0x00, 0x00, 0xF8, 0x03, 0xA8, 0xC2}};
const GUID kInterfaceImage = {0x6BDD1FC6, 0x810F, 0x11D0, {0xBE, 0xC7, 0x08, 0x00, 0x2B, 0xE2, 0x09, 0x2F}};
const GUID kInterfaceEwsFxBulk = {0xA6AF917D, 0x48E9, 0x459A, {0x95, 0xA1, 0x3B, 0x9C, 0xD2, 0x4D, 0x91, 0xE3}};

namespace {

DescribedNode Node(const std::wstring& id, const wchar_t* classGuid, const std::wstring& service)
{
    DescribedNode node;
    node.instanceId = id;
    node.classGuid = classGuid;
    node.service = service;
    node.hardwareIds = {id.substr(0, id.rfind(L'\\'))};
    return node;
}

}  // namespace

std::wstring DeviceTree::InterfaceId(const std::wstring& vidPid, const std::wstring& prefix, int index)
{
    wchar_t tail[32];
    swprintf(tail, 32, L"&MI_%02d\\", index);
    wchar_t number[16];
    swprintf(number, 16, L"&%04d", index);
    return L"USB\\" + vidPid + tail + prefix + number;
}

std::wstring DeviceTree::NextPrefix(int depth)
{
    wchar_t text[32];
    swprintf(text, 32, L"%d&%X&0", depth, 0x2F1C0 + ++m_prefixes);
    return text;
}

std::wstring DeviceTree::NextDriverKey(const std::wstring& classGuid)
{
    wchar_t number[16];
    swprintf(number, 16, L"\\%04d", 7000 + m_driverKeys[classGuid]++);
    return classGuid + number;
}

DeviceTree& DeviceTree::Add(const DescribedNode& node)
{
    m_nodes.push_back(node);
    return *this;
}

DescribedNode* DeviceTree::Find(const std::wstring& instanceId)
{
    for (DescribedNode& node : m_nodes) {
        if (node.instanceId == instanceId) {
            return &node;
        }
    }
    return nullptr;
}

DeviceTree& DeviceTree::SingleFunctionPrinter(const std::wstring& vidPid, const std::wstring& serial,
                                              const std::wstring& port)
{
    DescribedNode device = Node(L"USB\\" + vidPid + L"\\" + serial, classes::kUSB, L"usbprint");
    device.compatibleIds = {L"USB\\Class_07&SubClass_01&Prot_02", L"USB\\Class_07"};
    device.parentIdPrefix = NextPrefix(7);
    device.containerId = L"{8A0E5D34-0000-4000-8000-" + std::wstring(12 - std::min<size_t>(12, serial.size()), L'0')
        + serial.substr(0, 12) + L"}";
    device.driverKey = NextDriverKey(classes::kUSB);
    device.matchingDeviceId = L"usb\\class_07";
    device.driverDesc = L"USB Printing Support";
    device.interfaces = {kInterfaceUSBPrint};
    DescribedNode printer = Node(L"USBPRINT\\ZQPRINTER\\" + device.parentIdPrefix + L"&" + port, classes::kPrinter,
                                 L"");
    printer.hardwareIds = {L"USBPRINT\\ZQPrinter", L"ZQPrinter"};
    printer.driverKey = NextDriverKey(classes::kPrinter);
    printer.matchingDeviceId = L"usbprint\\zqprinter";
    printer.driverDesc = L"ZQ Printer " + serial;
    printer.portName = port;
    return Add(device).Add(printer);
}

DeviceTree& DeviceTree::CompositeMFP(const std::wstring& vidPid, const std::wstring& serial, const std::wstring& port,
                                     const std::wstring& faxPort)
{
    DescribedNode device = Node(L"USB\\" + vidPid + L"\\" + serial, classes::kUSB, L"usbccgp");
    device.compatibleIds = {L"USB\\COMPOSITE", L"USB\\DevClass_00"};
    device.parentIdPrefix = NextPrefix(6);
    device.containerId = L"{8A0E5D34-0000-4000-8000-00000000F00D}";
    device.driverKey = NextDriverKey(classes::kUSB);
    device.matchingDeviceId = L"usb\\composite";
    device.driverDesc = L"USB Composite Device";
    Add(device);

    DescribedNode print = Node(InterfaceId(vidPid, device.parentIdPrefix, 0), classes::kUSB, L"usbprint");
    print.parentIdPrefix = NextPrefix(7);
    print.compatibleIds = {L"USB\\Class_07"};
    print.driverKey = NextDriverKey(classes::kUSB);
    print.matchingDeviceId = L"usb\\class_07";
    print.driverDesc = L"USB Printing Support";
    print.interfaces = {kInterfaceUSBPrint};
    DescribedNode queue = Node(L"USBPRINT\\ZQMFP\\" + print.parentIdPrefix + L"&" + port, classes::kPrinter, L"");
    queue.hardwareIds = {L"USBPRINT\\ZQMFP", L"ZQMFP"};
    queue.driverKey = NextDriverKey(classes::kPrinter);
    queue.matchingDeviceId = L"usbprint\\zqmfp";
    queue.driverDesc = L"ZQ MFP Printer";
    queue.portName = port;
    queue.parameters[L"Fax"] = 0;
    Add(print).Add(queue);

    DescribedNode scan = Node(InterfaceId(vidPid, device.parentIdPrefix, 1), classes::kImage, L"usbscan");
    scan.driverKey = NextDriverKey(classes::kImage);
    scan.matchingDeviceId = scan.hardwareIds.front();
    scan.driverDesc = L"ZQ MFP Scanner";
    scan.driverFriendlyName = L"ZQ MFP Scan";
    scan.interfaces = {kInterfaceImage};
    Add(scan);

    DescribedNode faxLink = Node(InterfaceId(vidPid, device.parentIdPrefix, 2), classes::kUSB, L"usbprint");
    faxLink.parentIdPrefix = NextPrefix(7);
    faxLink.driverKey = NextDriverKey(classes::kUSB);
    faxLink.matchingDeviceId = faxLink.hardwareIds.front();
    faxLink.driverDesc = L"USB Printing Support";
    faxLink.interfaces = {kInterfaceUSBPrint};
    DescribedNode fax = Node(L"USBPRINT\\ZQMFPFAX\\" + faxLink.parentIdPrefix + L"&" + faxPort, classes::kPrinter, L"");
    fax.hardwareIds = {L"USBPRINT\\ZQMFPFax"};
    fax.driverKey = NextDriverKey(classes::kPrinter);
    fax.matchingDeviceId = L"usbprint\\zqmfpfax";
    fax.driverDesc = L"ZQ MFP Fax";
    fax.portName = faxPort;
    fax.parameters[L"Fax"] = 1;
    Add(faxLink).Add(fax);

    DescribedNode config = Node(InterfaceId(vidPid, device.parentIdPrefix, 3), classes::kUSB, L"ZQEWSFXBULK");
    config.driverKey = NextDriverKey(classes::kUSB);
    config.matchingDeviceId = config.hardwareIds.front();
    config.driverDesc = L"ZQ EWS Channel";
    config.interfaces = {kInterfaceEwsFxBulk};
    return Add(config);
}

DeviceTree& DeviceTree::TwoIdenticalInterfaces(const std::wstring& vidPid, const std::wstring& serial)
{
    DescribedNode device = Node(L"USB\\" + vidPid + L"\\" + serial, classes::kUSB, L"usbccgp");
    device.compatibleIds = {L"USB\\COMPOSITE"};
    device.parentIdPrefix = NextPrefix(6);
    device.driverKey = NextDriverKey(classes::kUSB);
    device.matchingDeviceId = L"usb\\composite";
    device.driverDesc = L"USB Composite Device";
    Add(device);
    for (int index = 0; index < 2; ++index) {
        DescribedNode scan = Node(InterfaceId(vidPid, device.parentIdPrefix, index), classes::kImage, L"usbscan");
        scan.driverKey = NextDriverKey(classes::kImage);
        scan.matchingDeviceId = scan.hardwareIds.front();
        scan.driverDesc = L"ZQ Scanner " + std::to_wstring(index);
        scan.driverFriendlyName = L"ZQ Scan " + std::to_wstring(index);
        scan.interfaces = {kInterfaceImage};
        Add(scan);
    }
    return *this;
}

DeviceTree& DeviceTree::Unplugged(const std::wstring& vidPid, const std::wstring& serial, const std::wstring& port,
                                  ULONG problem)
{
    SingleFunctionPrinter(vidPid, serial, port);
    constexpr ULONG kHasProblem = 0x400;  // DN_HAS_PROBLEM
    for (size_t i = m_nodes.size() - 2; i < m_nodes.size(); ++i) {
        m_nodes[i].status = kHasProblem;
        m_nodes[i].problem = problem;
    }
    return *this;
}

DeviceTree& DeviceTree::ManyPrinters(int count)
{
    for (int i = 0; i < count; ++i) {
        wchar_t vidPid[32];
        swprintf(vidPid, 32, L"VID_1234&PID_%04X", 0x1000 + i);
        wchar_t serial[32];
        swprintf(serial, 32, L"ZQS%05d", i);
        wchar_t port[16];
        swprintf(port, 16, L"USB%03d", 100 + i % 800);
        SingleFunctionPrinter(vidPid, serial, port);
    }
    return *this;
}

}  // namespace peers
