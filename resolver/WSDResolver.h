#pragma once

#include <cstddef>

// A WSD device's address, as a text of at most 260 characters (usually a
// URL), found through the platform's Function Discovery. Each gives true
// when `text` holds a text that isn't empty; null arguments give false with
// last error 87. `text` must hold 260 characters.
namespace Orvane {

// By the WSD port's name ("WSD-...").
bool GetIPAddressFromWSDPort(const wchar_t* portName, wchar_t* text, size_t chars);
// By the port of the named queue.
bool GetIPAddressFromWSDPrinter(const wchar_t* printerName, wchar_t* text, size_t chars);
// By the device's identity ("uuid:..."), waiting at most 30 seconds.
bool GetIPAddressFromDeviceID(const wchar_t* deviceID, wchar_t* text, size_t chars);

}  // namespace Orvane
