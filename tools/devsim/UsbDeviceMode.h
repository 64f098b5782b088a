// orvane-devsim --usb: the virtual USB printer, played from this program.
#pragma once

#include <string>
#include <vector>

namespace devsim {

// Runs the USB mode with the arguments that follow "--usb"; the exit code.
int RunUsbMode(const std::vector<std::wstring>& arguments);

// The default device path of the print function.
extern const wchar_t kUsbPrintPath[];

}  // namespace devsim
