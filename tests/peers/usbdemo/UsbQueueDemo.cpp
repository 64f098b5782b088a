// usb-queue-demo.exe: a host that names the virtual USB printer by its
// print queue, sends it a file, reads its system description and its status
// page over USB, and waits for an interrupt it raises, through the public
// functions of orvane64 only.
//   usb-queue-demo --paths   the device paths where the printer must answer
//   usb-queue-demo FILE      the job, the management object, the page and
//                            the interrupt
// The device side is played by `orvane-devsim --usb --interrupt CODE` with
// those paths; the device tree is the one the USB tests register, and the
// printer is its device with a plain configuration channel (on USB033).
// Exit code 0 when all went well, 1 otherwise.
#include <windows.h>
#include <setupapi.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "UsbTestSupport.h"
#include "common/ProgressBar.h"
#include "common/Terminal.h"
#include "devicemanager/SpoolerSetup.h"
#include "doubles/ApiOverride.h"
#include "doubles/DescribedSetupApi.h"
#include "orvane64.h"
#include "peers/RegisteredDeviceTree.h"
#include "resolver/SpoolerQueues.h"

namespace {

const wchar_t kPrintPort[] = L"USB033";
// The instance ids of that device's nodes and of its interface nodes
// (MI_xx) begin so.
const wchar_t kDeviceIdPrefix[] = L"USB\\VID_1234&PID_5679";
const wchar_t kDescriptionOid[] = L"1.3.6.1.2.1.1.1.0";
const unsigned long kInterruptWaitMs = 30000;

void Say(const char* format, ...)
{
    std::printf("usb-queue-demo: ");
    va_list arguments;
    va_start(arguments, format);
    std::vprintf(format, arguments);
    va_end(arguments);
    std::printf("\n");
    std::fflush(stdout);
}

std::string Narrow(const std::wstring& text)
{
    char buffer[1024];
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), static_cast<int>(text.size()), buffer,
                                         sizeof buffer, nullptr, nullptr);
    return std::string(buffer, size > 0 ? size : 0);
}

// The first node of the device on USB033 that matches `wanted`.
template <typename Predicate>
const peers::DescribedNode* NodeOfDevice(const peers::DeviceTree& tree, Predicate wanted)
{
    const std::wstring prefix = kDeviceIdPrefix;
    for (const peers::DescribedNode& node : tree.Nodes()) {
        if (node.instanceId.compare(0, prefix.size(), prefix) == 0 && wanted(node)) {
            return &node;
        }
    }
    return nullptr;
}

// The printer node of the queue on `port`.
const peers::DescribedNode* QueueNode(const peers::DeviceTree& tree, const std::wstring& port)
{
    for (const peers::DescribedNode& node : tree.Nodes()) {
        if (node.portName == port) {
            return &node;
        }
    }
    return nullptr;
}

// The device path Wine gives the node's interface of `interfaceClass`;
// empty when it has none.
std::wstring InterfacePath(const std::wstring& instanceId, const GUID& interfaceClass)
{
    const HDEVINFO set = SetupDiGetClassDevsW(&interfaceClass, instanceId.c_str(), nullptr, DIGCF_DEVICEINTERFACE);
    if (set == INVALID_HANDLE_VALUE) {
        return std::wstring();
    }
    std::wstring path;
    SP_DEVICE_INTERFACE_DATA data = {};
    data.cbSize = sizeof data;
    std::vector<BYTE> buffer(sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_W) + MAX_PATH * sizeof(wchar_t));
    auto* detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_W*>(buffer.data());
    detail->cbSize = sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_W);
    if (SetupDiEnumDeviceInterfaces(set, nullptr, &interfaceClass, 0, &data)
        && SetupDiGetDeviceInterfaceDetailW(set, &data, detail, static_cast<DWORD>(buffer.size()), nullptr, nullptr)) {
        path = detail->DevicePath;
    }
    SetupDiDestroyDeviceInfoList(set);
    return path;
}

struct DevicePaths {
    std::wstring print;
    std::wstring config;
};

// The paths of the print and configuration functions of the device on
// USB033; its configuration node is the one marked "REST", a plain channel.
DevicePaths PathsOf(const peers::DeviceTree& tree)
{
    const peers::DescribedNode* print = NodeOfDevice(tree, [](const peers::DescribedNode& node) {
        return std::any_of(node.interfaces.begin(), node.interfaces.end(),
                           [](const GUID& id) { return IsEqualGUID(id, peers::kInterfaceUSBPrint) != 0; });
    });
    const peers::DescribedNode* config = NodeOfDevice(
        tree, [](const peers::DescribedNode& node) { return node.parameters.count(L"REST") != 0; });
    DevicePaths paths;
    if (print != nullptr && config != nullptr && !config->interfaces.empty()) {
        paths.print = InterfacePath(print->instanceId, peers::kInterfaceUSBPrint);
        paths.config = InterfacePath(config->instanceId, config->interfaces.front());
    }
    return paths;
}

bool ReadFileBytes(const wchar_t* name, std::string* bytes)
{
    std::ifstream in(std::filesystem::path(name), std::ios::binary);
    if (!in) {
        return false;
    }
    bytes->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return true;
}

// An object of the library with its one reference, given back at the end.
template <typename T>
class Held {
public:
    explicit Held(T* object = nullptr) : m_object(object) {}
    ~Held()
    {
        if (m_object != nullptr) {
            m_object->Dispose();
        }
    }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    T* operator->() { return m_object; }
    T** Out() { return &m_object; }
    T* Get() { return m_object; }

private:
    T* m_object;
};

// Writes the whole job through a stream on the print function, with the
// progress bar of orvane send when the output is a terminal.
bool SendJob(Orvane::Address* address, const std::string& job)
{
    Held<Orvane::Stream> stream;
    const unsigned long created = address->CreateStream(9100, stream.Out());
    if (created != 0 || stream.Get() == nullptr) {
        Say("CreateStream(9100) failed: 0x%08lX", created);
        return false;
    }
    tools::ProgressBar progress(std::cout, tools::Terminal::IsTerminal(GetStdHandle(STD_OUTPUT_HANDLE)), job.size());
    const ULONGLONG start = GetTickCount64();
    const auto elapsed = [start] { return static_cast<unsigned long>(GetTickCount64() - start); };
    size_t sent = 0;
    while (sent < job.size()) {
        const unsigned long chunk = static_cast<unsigned long>(std::min<size_t>(job.size() - sent, 64 * 1024));
        unsigned long written = 0;
        const unsigned long status = stream->Write(job.data() + sent, chunk, &written);
        if (status != 0 || written == 0) {
            progress.Finish(sent + written, elapsed());
            Say("Write failed after %zu bytes: 0x%08lX", sent, status);
            return false;
        }
        sent += written;
        progress.Update(sent, elapsed());
    }
    progress.Finish(sent, elapsed());
    Say("Write: %zu bytes through CreateStream(9100), the print function", sent);
    return true;
}

// Reads the system description through a management object connection.
bool ReadDescription(Orvane::Address* address)
{
    Held<Orvane::MIBConnection> mib;
    const unsigned long created = address->CreateMIBConnection(mib.Out());
    if (created != 0 || mib.Get() == nullptr) {
        Say("CreateMIBConnection failed: 0x%08lX", created);
        return false;
    }
    VARIANT value;
    VariantInit(&value);
    const unsigned long status = mib->GetValue(kDescriptionOid, &value);
    const bool text = status == 0 && value.vt == VT_BSTR;
    if (text) {
        Say("GetValue over USB: %ls = \"%s\"", kDescriptionOid,
            Narrow(std::wstring(value.bstrVal, SysStringLen(value.bstrVal))).c_str());
    } else {
        Say("GetValue(%ls) failed: 0x%08lX, type %u", kDescriptionOid, status, value.vt);
    }
    VariantClear(&value);
    return text;
}

// Fetches the status page of the device's web site, which its configuration
// function serves, through an HTTP request on port 80 of the USB address.
bool FetchPage(Orvane::Address* address)
{
    Held<Orvane::HTTPRequest> request;
    const unsigned long created = address->CreateHTTPRequest(request.Out(), 80);
    if (created != 0 || request.Get() == nullptr) {
        Say("CreateHTTPRequest(80) failed: 0x%08lX", created);
        return false;
    }
    request->SetURI(L"/status");
    Orvane::HTTPResponse* response = nullptr;
    const unsigned long status = request->GetResponse(&response);
    if (status != 0 || response == nullptr) {
        Say("GetResponse(/status) over USB failed: 0x%08lX", status);
        return false;
    }
    const std::string page(reinterpret_cast<const char*>(response->GetContent()), response->GetContentAvailable());
    const size_t heading = page.find("<h1>");
    const size_t end = page.find("</h1>");
    Say("GET /status over USB through CreateHTTPRequest(80): HTTP %lu, %lu bytes, %s", response->GetStatusCode(),
        response->GetContentAvailable(),
        heading != std::string::npos && end != std::string::npos ? page.substr(heading, end + 5 - heading).c_str()
                                                                : "no heading");
    return response->GetStatusCode() == 200 && heading != std::string::npos;
}

// Arms a notifier on the device and waits for the interrupt it raises.
bool WaitForInterrupt(Orvane::Address* address)
{
    Held<Orvane::Notifier> notifier;
    const unsigned long created = address->CreateNotifier(notifier.Out());
    if (created != 0 || notifier.Get() == nullptr) {
        Say("CreateNotifier failed: 0x%08lX", created);
        return false;
    }
    const unsigned long enabled = notifier->EnableNotification(true);
    if (enabled != 0) {
        Say("EnableNotification(true) failed: 0x%08lX", enabled);
        return false;
    }
    // orvane wait does the same from the command line, where the device is
    // found without the in-process answers, so not under Wine.
    Say("CreateNotifier, EnableNotification(true): the notifier polls the configuration function "
        "(what orvane wait does, which cannot find a USB device under Wine)");
    const ULONGLONG start = GetTickCount64();
    const unsigned long waited = notifier->WaitForNotification(kInterruptWaitMs);
    const double seconds = (GetTickCount64() - start) / 1000.0;
    if (waited != 0) {
        Say("WaitForNotification(%lu) gave 0x%08lX after %.2f s", kInterruptWaitMs, waited, seconds);
        notifier->EnableNotification(false);
        return false;
    }
    Say("WaitForNotification(%lu): the device raised an interrupt after %.2f s", kInterruptWaitMs, seconds);
    return true;
}

// Tells the stand-in of the management run-time, beside this program, where
// the configuration function of a USB port answers.
bool TellConfigPath(const std::wstring& port, const std::wstring& path)
{
    const HMODULE runtime = LoadLibraryW(L"zqdrtl12.dll");
    const auto usbPath = runtime == nullptr ? nullptr
                                            : reinterpret_cast<void (*)(const char*, const wchar_t*)>(
                                                  reinterpret_cast<void*>(GetProcAddress(runtime, "StandInUsbPath")));
    if (usbPath == nullptr) {
        Say("zqdrtl12.dll (the run-time's stand-in) is not beside this program");
        return false;
    }
    usbPath(Narrow(port).c_str(), path.c_str());
    return true;
}

int Run(const wchar_t* jobFile, const peers::DeviceTree& tree, const DevicePaths& paths)
{
    std::string job;
    if (!ReadFileBytes(jobFile, &job)) {
        Say("cannot read %ls", jobFile);
        return 1;
    }
    resolver_test::SpoolerQueues queues;
    const std::wstring queue = resolver_test::SpoolerQueues::Unique(L"Orvane USB Demo");
    // The spooler's record of the queue's device node, as Plug and Play
    // writes it when it makes a queue for a USB printer.
    const peers::DescribedNode* printer = QueueNode(tree, kPrintPort);
    const std::wstring node = printer != nullptr ? printer->instanceId : std::wstring();
    DWORD error = 0;
    if (node.empty() || !queues.Add(queue, kPrintPort, L"", &error)
        || !devicemanager_test::SetQueueText(queue, L"PnPData", L"DeviceInstanceId", node)) {
        Say("the queue was not added to the spooler: error %lu", error);
        return 1;
    }
    Say("print queue \"%s\" on port %ls in Wine's spooler, its device node %s", Narrow(queue).c_str(), kPrintPort,
        Narrow(node).c_str());
    if (!TellConfigPath(kPrintPort, paths.config)) {
        return 1;
    }
    Held<Orvane::Address> address(Orvane::CreateAddressFromQueueName(queue.c_str()));
    if (address.Get() == nullptr) {
        Say("CreateAddressFromQueueName(\"%s\") gave null", Narrow(queue).c_str());
        return 1;
    }
    Say("CreateAddressFromQueueName(\"%s\"): address %ls", Narrow(queue).c_str(), address->GetAddress());
    return SendJob(address.Get(), job) && ReadDescription(address.Get()) && FetchPage(address.Get())
                   && WaitForInterrupt(address.Get())
               ? 0
               : 1;
}

}  // namespace

int wmain(int argc, wchar_t** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: usb-queue-demo --paths | usb-queue-demo FILE\n");
        return 2;
    }
    const peers::DeviceTree tree = usb_test::UsbTree();
    peers::RegisteredDeviceTree registered(tree);
    if (!registered.Error().empty()) {
        Say("the device tree was not registered: %s", Narrow(registered.Error()).c_str());
        return 1;
    }
    const DevicePaths paths = PathsOf(tree);
    if (paths.print.empty() || paths.config.empty()) {
        Say("Wine gave no device path for the printer's functions");
        return 1;
    }
    if (std::wstring(argv[1]) == L"--paths") {
        std::printf("print %s\nconfig %s\n", Narrow(paths.print).c_str(), Narrow(paths.config).c_str());
        return 0;
    }
    Say("device tree registered: %zu nodes, print function at %s, configuration function at %s",
        tree.Nodes().size(), Narrow(paths.print).c_str(), Narrow(paths.config).c_str());
    // Wine does not implement the configuration manager's CM_ calls (they
    // answer CR_CALL_NOT_IMPLEMENTED), which the device manager needs to
    // walk from a queue to its USB device. They alone are answered here,
    // in-process, from the registered nodes' real keys; SetupDi, the
    // spooler, the registry and the device paths stay Wine's own.
    doubles::DescribedSetupApi describedNodes(tree);
    doubles::ApiOverride<QVWinApi::ISetupApi> seam(g_pSetupApi, describedNodes);
    Say("Wine lacks the configuration manager's CM_ calls: they alone are answered in-process from the "
        "registered tree; everything else is Wine's own");
    return Run(argv[1], tree, paths);
}
