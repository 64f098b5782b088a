// The simulator's web site answering on the virtual printer's
// configuration function, for the USB tests.
#pragma once

#include "UsbTestSupport.h"
#include "devsim/UsbWebChannel.h"
#include "doubles/TempFolder.h"

namespace usb_test {

// The simulator's site, its jobs in a folder of the test's, answering on
// the configuration function for the life of the object.
class WebOnConfiguration {
public:
    WebOnConfiguration()
        : m_jobs(m_folder.Path(), m_log), m_site(m_jobs, "admin", "secret"), m_channel(*PrinterOf(), m_site, nullptr)
    {
    }

private:
    static usbprinter::VirtualUsbPrinter* PrinterOf()
    {
        std::string error;
        return usb_test::Printer(&error);
    }

    doubles::TempFolder m_folder{L"usb-web"};
    devsim::EventLog m_log;
    devsim::JobStore m_jobs;
    devsim::WebSite m_site;
    devsim::UsbWebChannel m_channel;
};

}  // namespace usb_test
