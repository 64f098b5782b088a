#pragma once

#include <windows.h>

#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "usbprinter/UsbPrinterControl.h"

namespace usbprinter {

// The device side of the virtual USB printer: attaches to the driver's
// control device and answers every read, write and control request a host
// makes on the functions it plugged. Writes are taken whole (or handed to a
// sink); reads get the bytes supplied for the function, up to the request's
// length, and are held pending while there are none; control requests get
// the replies given for them, one each, and are held while there is none.
// Each request's length is recorded.
class VirtualUsbPrinter {
public:
    using Sink = std::function<void(const unsigned char* data, size_t size)>;

    VirtualUsbPrinter();
    ~VirtualUsbPrinter();
    VirtualUsbPrinter(const VirtualUsbPrinter&) = delete;
    VirtualUsbPrinter& operator=(const VirtualUsbPrinter&) = delete;

    // Starts the driver if needed and takes its control device.
    bool Attach(const std::wstring& driverPath, std::string* error);
    // Puts a function behind a device path ("\\?\usb#...#{guid}"); a handle
    // opened before an unplug stays dead.
    bool Plug(int function, const std::wstring& devicePath);
    // As a pulled cable: the path stops opening, requests under way fail.
    bool Unplug(int function);

    // Bytes the host's reads of `function` get; a held read is answered.
    void Supply(int function, const void* data, size_t size);
    // The reply to one control request: the oldest held one, or else the
    // next to come. A first byte other than 0 reports an interrupt; no
    // bytes, or a first byte of 0, report none.
    void AnswerControl(int function, const std::vector<unsigned char>& reply);
    // Written bytes go to `sink` instead of being kept.
    void SetSink(int function, Sink sink);
    // Every answer waits this long first.
    void SetAnswerDelay(DWORD ms);
    // Every read gets as many bytes as it asks for, none kept, none
    // recorded: a device with endless data, for measuring.
    void SetEndlessReads(int function, bool endless);
    // Writes are taken but not answered until an unplug, as a device that
    // stopped reading.
    void HoldWrites(int function, bool hold);

    std::vector<unsigned char> Received(int function);
    unsigned long long ReceivedCount(int function);
    std::vector<unsigned long> ReadSizes(int function);
    std::vector<unsigned long> WriteSizes(int function);
    // The output length of every control request the host made.
    std::vector<unsigned long> ControlSizes(int function);
    size_t HeldReads(int function);
    size_t HeldControls(int function);
    void ClearRecords(int function);
    // Waits until `done` holds; false after `ms`.
    bool WaitFor(const std::function<bool()>& done, DWORD ms);

private:
    struct Function {
        std::vector<unsigned char> received;
        unsigned long long receivedCount = 0;
        std::deque<unsigned char> toRead;
        std::deque<USBPRINTER_REQUEST> heldReads;
        std::deque<std::vector<unsigned char>> controlReplies;
        std::deque<USBPRINTER_REQUEST> heldControls;
        std::vector<unsigned long> controlSizes;
        bool holdWrites = false;
        bool endlessReads = false;
        std::vector<unsigned long> readSizes;
        std::vector<unsigned long> writeSizes;
        Sink sink;
    };

    void Run();
    // Fills `answer` for one request: a write taken, a read served, or
    // nothing (held). Under the lock.
    bool Serve(const USBPRINTER_REQUEST& request, const unsigned char* data, std::vector<unsigned char>* answer);
    static void Fill(Function& function, const USBPRINTER_REQUEST& read, std::vector<unsigned char>* answer);
    static void Reply(const USBPRINTER_REQUEST& request, const std::vector<unsigned char>& reply,
                      std::vector<unsigned char>* answer);
    bool Control(DWORD code, const void* in, DWORD inSize, void* out, DWORD outSize, DWORD* done);

    HANDLE m_control = INVALID_HANDLE_VALUE;
    HANDLE m_stop = nullptr;
    std::thread m_thread;
    std::mutex m_lock;
    HANDLE m_changed = nullptr;  // set at every change, for WaitFor
    Function m_functions[USBPRINTER_FUNCTION_COUNT];
    DWORD m_delay = 0;
};

}  // namespace usbprinter
