// What orvane-devsim --usb answers to a host's control requests on the
// configuration function: first a number of "no interrupt" answers, then
// the interrupts one by one, each to a request that has waited a while,
// and at the end, if asked, an unplug while a request waits.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "devsim/EventLog.h"
#include "usbprinter/VirtualUsbPrinter.h"

namespace devsim {

struct UsbInterruptPlan {
    unsigned long quiet = 0;           // answers without an interrupt, first
    std::vector<unsigned char> codes;  // the first byte of each interrupt, in turn
    unsigned long delayMs = 500;       // how long a request waits for its interrupt
    bool unplugAtEnd = false;
};

class UsbInterruptScript {
public:
    UsbInterruptScript(usbprinter::VirtualUsbPrinter& printer, EventLog& log, UsbInterruptPlan plan);
    // Queues the quiet answers.
    void Start();
    // Answers or unplugs when it is time; call whenever the device moved,
    // and now and then.
    void Step();

private:
    usbprinter::VirtualUsbPrinter& m_printer;
    EventLog& m_log;
    UsbInterruptPlan m_plan;
    size_t m_next = 0;
    ULONGLONG m_heldSince = 0;  // when a request was first seen waiting; 0: none
};

}  // namespace devsim
