#include "usbprinter/VirtualUsbPrinter.h"

#include <algorithm>
#include <cstring>

#include "usbprinter/UsbPrinterDriver.h"

namespace usbprinter {

namespace {

// The largest write handed over whole; a longer one is taken in part.
constexpr size_t kExchangeData = 4 * 1024 * 1024;

}  // namespace

VirtualUsbPrinter::VirtualUsbPrinter()
    : m_stop(CreateEventW(nullptr, TRUE, FALSE, nullptr)), m_changed(CreateEventW(nullptr, TRUE, FALSE, nullptr))
{
}

VirtualUsbPrinter::~VirtualUsbPrinter()
{
    if (m_thread.joinable()) {
        SetEvent(m_stop);
        m_thread.join();
    }
    if (m_control != INVALID_HANDLE_VALUE) {
        CloseHandle(m_control);  // the driver unplugs every function
    }
    CloseHandle(m_stop);
    CloseHandle(m_changed);
}

bool VirtualUsbPrinter::Attach(const std::wstring& driverPath, std::string* error)
{
    if (!StartUsbPrinterDriver(driverPath, error)) {
        return false;
    }
    m_control = CreateFileW(USBPRINTER_CONTROL_PATH, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                            FILE_FLAG_OVERLAPPED, nullptr);
    if (m_control == INVALID_HANDLE_VALUE) {
        *error = "the control device did not open: " + std::to_string(GetLastError()) +
                 (GetLastError() == ERROR_SHARING_VIOLATION ? " (another program plays the device)" : "");
        return false;
    }
    m_thread = std::thread([this] { Run(); });
    return true;
}

bool VirtualUsbPrinter::Control(DWORD code, const void* in, DWORD inSize, void* out, DWORD outSize, DWORD* done)
{
    OVERLAPPED overlapped{};
    overlapped.hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    DWORD count = 0;
    BOOL ok = DeviceIoControl(m_control, code, const_cast<void*>(in), inSize, out, outSize, &count, &overlapped);
    if (!ok && GetLastError() == ERROR_IO_PENDING) {
        ok = GetOverlappedResult(m_control, &overlapped, &count, TRUE);
    }
    CloseHandle(overlapped.hEvent);
    if (done != nullptr) {
        *done = count;
    }
    return ok != FALSE;
}

bool VirtualUsbPrinter::Plug(int function, const std::wstring& devicePath)
{
    USBPRINTER_PLUG plug{};
    plug.function = static_cast<unsigned long>(function);
    const std::wstring link = devicePath.rfind(L"\\\\?\\", 0) == 0 ? devicePath.substr(4) : devicePath;
    if (link.size() > USBPRINTER_MAX_LINK) {
        return false;
    }
    std::copy(link.begin(), link.end(), plug.link);
    return Control(IOCTL_USBPRINTER_PLUG, &plug, sizeof(plug), nullptr, 0, nullptr);
}

bool VirtualUsbPrinter::Unplug(int function)
{
    {
        std::lock_guard<std::mutex> guard(m_lock);
        m_functions[function].heldReads.clear();
        m_functions[function].heldControls.clear();
    }
    SetEvent(m_changed);
    USBPRINTER_UNPLUG unplug{static_cast<unsigned long>(function)};
    return Control(IOCTL_USBPRINTER_UNPLUG, &unplug, sizeof(unplug), nullptr, 0, nullptr);
}

void VirtualUsbPrinter::Fill(Function& function, const USBPRINTER_REQUEST& read, std::vector<unsigned char>* answer)
{
    const size_t count = std::min<size_t>(read.size, function.toRead.size());
    answer->resize(sizeof(USBPRINTER_ANSWER) + count);
    USBPRINTER_ANSWER head{read.id, 0, static_cast<unsigned long>(count)};
    std::memcpy(answer->data(), &head, sizeof(head));
    std::copy(function.toRead.begin(), function.toRead.begin() + count, answer->begin() + sizeof(head));
}

void VirtualUsbPrinter::Supply(int function, const void* data, size_t size)
{
    {
        std::lock_guard<std::mutex> guard(m_lock);
        Function& state = m_functions[function];
        const unsigned char* bytes = static_cast<const unsigned char*>(data);
        state.toRead.insert(state.toRead.end(), bytes, bytes + size);
        std::vector<unsigned char> answer;
        while (!state.heldReads.empty() && !state.toRead.empty()) {
            Fill(state, state.heldReads.front(), &answer);
            state.heldReads.pop_front();
            // A held read the host has given up is gone: its bytes stay.
            if (Control(IOCTL_USBPRINTER_ANSWER, answer.data(), static_cast<DWORD>(answer.size()), nullptr, 0,
                        nullptr)) {
                state.toRead.erase(state.toRead.begin(),
                                   state.toRead.begin() + (answer.size() - sizeof(USBPRINTER_ANSWER)));
            }
        }
    }
    SetEvent(m_changed);
}

void VirtualUsbPrinter::Reply(const USBPRINTER_REQUEST& request, const std::vector<unsigned char>& reply,
                              std::vector<unsigned char>* answer)
{
    const size_t count = std::min<size_t>(request.size, reply.size());
    answer->resize(sizeof(USBPRINTER_ANSWER) + count);
    USBPRINTER_ANSWER head{request.id, 0, static_cast<unsigned long>(count)};
    std::memcpy(answer->data(), &head, sizeof(head));
    std::copy(reply.begin(), reply.begin() + count, answer->begin() + sizeof(head));
}

void VirtualUsbPrinter::AnswerControl(int function, const std::vector<unsigned char>& reply)
{
    {
        std::lock_guard<std::mutex> guard(m_lock);
        Function& state = m_functions[function];
        state.controlReplies.push_back(reply);
        std::vector<unsigned char> answer;
        while (!state.heldControls.empty() && !state.controlReplies.empty()) {
            Reply(state.heldControls.front(), state.controlReplies.front(), &answer);
            state.heldControls.pop_front();
            // A held request the host has given up is gone: the reply waits
            // for the next one.
            if (Control(IOCTL_USBPRINTER_ANSWER, answer.data(), static_cast<DWORD>(answer.size()), nullptr, 0,
                        nullptr)) {
                state.controlReplies.pop_front();
            }
        }
    }
    SetEvent(m_changed);
}

void VirtualUsbPrinter::SetSink(int function, Sink sink)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_functions[function].sink = std::move(sink);
}

void VirtualUsbPrinter::SetEndlessReads(int function, bool endless)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_functions[function].endlessReads = endless;
}

void VirtualUsbPrinter::HoldWrites(int function, bool hold)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_functions[function].holdWrites = hold;
}

void VirtualUsbPrinter::SetAnswerDelay(DWORD ms)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_delay = ms;
}

bool VirtualUsbPrinter::Serve(const USBPRINTER_REQUEST& request, const unsigned char* data,
                              std::vector<unsigned char>* answer)
{
    Function& state = m_functions[request.function];
    if (request.kind == USBPRINTER_REQUEST_WRITE) {
        state.writeSizes.push_back(request.size);
        if (state.holdWrites) {
            return false;
        }
        if (state.sink) {
            state.sink(data, request.carried);
        } else {
            state.received.insert(state.received.end(), data, data + request.carried);
        }
        state.receivedCount += request.carried;
        answer->resize(sizeof(USBPRINTER_ANSWER));
        USBPRINTER_ANSWER head{request.id, 0, request.carried};
        std::memcpy(answer->data(), &head, sizeof(head));
        return true;
    }
    if (request.kind == USBPRINTER_REQUEST_CONTROL) {
        state.controlSizes.push_back(request.size);
        if (state.controlReplies.empty()) {
            state.heldControls.push_back(request);
            return false;
        }
        Reply(request, state.controlReplies.front(), answer);
        state.controlReplies.pop_front();
        return true;
    }
    if (state.endlessReads) {
        answer->assign(sizeof(USBPRINTER_ANSWER) + request.size, 'r');
        USBPRINTER_ANSWER head{request.id, 0, request.size};
        std::memcpy(answer->data(), &head, sizeof(head));
        return true;
    }
    state.readSizes.push_back(request.size);
    if (state.toRead.empty()) {
        state.heldReads.push_back(request);  // a device with nothing to say
        return false;
    }
    Fill(state, request, answer);
    state.toRead.erase(state.toRead.begin(), state.toRead.begin() + (answer->size() - sizeof(USBPRINTER_ANSWER)));
    return true;
}

// One exchange at a time: the answer to the last request goes in with the
// wait for the next.
void VirtualUsbPrinter::Run()
{
    std::vector<unsigned char> answer(sizeof(USBPRINTER_ANSWER), 0);
    std::vector<unsigned char> out(sizeof(USBPRINTER_REQUEST) + kExchangeData);
    OVERLAPPED overlapped{};
    overlapped.hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    for (;;) {
        ResetEvent(overlapped.hEvent);
        DWORD done = 0;
        BOOL ok = DeviceIoControl(m_control, IOCTL_USBPRINTER_EXCHANGE, answer.data(),
                                  static_cast<DWORD>(answer.size()), out.data(), static_cast<DWORD>(out.size()),
                                  &done, &overlapped);
        if (!ok && GetLastError() != ERROR_IO_PENDING) {
            break;
        }
        const HANDLE waits[2] = {overlapped.hEvent, m_stop};
        if (WaitForMultipleObjects(2, waits, FALSE, INFINITE) != WAIT_OBJECT_0) {
            CancelIo(m_control);
            GetOverlappedResult(m_control, &overlapped, &done, TRUE);
            break;
        }
        if (!GetOverlappedResult(m_control, &overlapped, &done, FALSE) || done < sizeof(USBPRINTER_REQUEST)) {
            break;
        }
        USBPRINTER_REQUEST request;
        std::memcpy(&request, out.data(), sizeof(request));
        DWORD delay;
        {
            std::lock_guard<std::mutex> guard(m_lock);
            delay = m_delay;
        }
        if (delay != 0 && WaitForSingleObject(m_stop, delay) == WAIT_OBJECT_0) {
            break;
        }
        {
            std::lock_guard<std::mutex> guard(m_lock);
            if (request.function >= USBPRINTER_FUNCTION_COUNT ||
                !Serve(request, out.data() + sizeof(request), &answer)) {
                answer.assign(sizeof(USBPRINTER_ANSWER), 0);
            }
        }
        SetEvent(m_changed);
    }
    CloseHandle(overlapped.hEvent);
}

std::vector<unsigned char> VirtualUsbPrinter::Received(int function)
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_functions[function].received;
}

unsigned long long VirtualUsbPrinter::ReceivedCount(int function)
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_functions[function].receivedCount;
}

std::vector<unsigned long> VirtualUsbPrinter::ReadSizes(int function)
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_functions[function].readSizes;
}

std::vector<unsigned long> VirtualUsbPrinter::WriteSizes(int function)
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_functions[function].writeSizes;
}

std::vector<unsigned long> VirtualUsbPrinter::ControlSizes(int function)
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_functions[function].controlSizes;
}

size_t VirtualUsbPrinter::HeldControls(int function)
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_functions[function].heldControls.size();
}

size_t VirtualUsbPrinter::HeldReads(int function)
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_functions[function].heldReads.size();
}

void VirtualUsbPrinter::ClearRecords(int function)
{
    std::lock_guard<std::mutex> guard(m_lock);
    Function& state = m_functions[function];
    state.received.clear();
    state.receivedCount = 0;
    state.toRead.clear();
    state.readSizes.clear();
    state.writeSizes.clear();
    state.heldReads.clear();
    state.controlReplies.clear();
    state.heldControls.clear();
    state.controlSizes.clear();
    state.holdWrites = false;
    state.endlessReads = false;
}

// Every change sets the event; a waiter that another waiter's reset robbed
// of its wake looks again after a slice.
bool VirtualUsbPrinter::WaitFor(const std::function<bool()>& done, DWORD ms)
{
    constexpr DWORD kSlice = 100;
    const ULONGLONG deadline = GetTickCount64() + ms;
    for (;;) {
        ResetEvent(m_changed);
        if (done()) {
            return true;
        }
        const ULONGLONG now = GetTickCount64();
        if (now >= deadline) {
            return false;
        }
        WaitForSingleObject(m_changed, static_cast<DWORD>(std::min<ULONGLONG>(deadline - now, kSlice)));
    }
}

}  // namespace usbprinter
