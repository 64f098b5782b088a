// The web server behind the virtual USB printer's configuration function:
// what a host writes there is read as HTTP requests, and the site's answers
// are what the host's reads get, in order.
#pragma once

#include <windows.h>

#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "devsim/EventLog.h"
#include "devsim/HttpRequest.h"
#include "devsim/WebSite.h"
#include "usbprinter/VirtualUsbPrinter.h"

namespace devsim {

class UsbWebChannel {
public:
    // The bytes that answer one request, given as it came and as parsed.
    using Answerer = std::function<std::string(const std::string& bytes, const HttpRequest& request)>;

    // Takes the configuration function's writes from now on, answered by
    // `site`; `log` may be null.
    UsbWebChannel(usbprinter::VirtualUsbPrinter& printer, WebSite& site, EventLog* log);
    // The same, answered by `answerer`.
    UsbWebChannel(usbprinter::VirtualUsbPrinter& printer, Answerer answerer);
    // Gives the writes back to the printer's own record.
    ~UsbWebChannel();
    UsbWebChannel(const UsbWebChannel&) = delete;
    UsbWebChannel& operator=(const UsbWebChannel&) = delete;

private:
    void Run();
    // Answers every whole request of `input`, leaving the rest in it.
    void Answer(std::string& input);

    usbprinter::VirtualUsbPrinter& m_printer;
    Answerer m_answerer;
    std::mutex m_lock;
    std::string m_arrived;  // written by the host, not yet taken
    HANDLE m_wake;
    HANDLE m_stop;
    std::thread m_thread;
};

}  // namespace devsim
