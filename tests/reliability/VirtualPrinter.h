// The virtual USB printer of the fault matrix, plugged in once for the
// program and kept: the USB rows and the component library's rows share it.
#pragma once

#include "UsbTestSupport.h"

namespace reliability {

usb_test::PluggedDevice& Usb();

}  // namespace reliability
