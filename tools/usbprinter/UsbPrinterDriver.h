#pragma once

#include <string>

namespace usbprinter {

// The virtual USB printer's kernel driver as a service of this machine:
// created from the .sys file on first use (or pointed at it again) and
// started. True when it runs; otherwise `error` says why.
bool StartUsbPrinterDriver(const std::wstring& sysPath, std::string* error);

// The driver file beside the running program.
std::wstring UsbPrinterDriverBesideProgram();

}  // namespace usbprinter
