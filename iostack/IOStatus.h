#pragma once

// Status codes of the I/O stack. 0 is success.
namespace QVIOStack {

constexpr unsigned long IOError_Fail = 0x83E8F4FF;        // any failure without a better name
constexpr unsigned long IOError_Timeout = 0x83E8F4FE;     // time ran out with nothing transferred
constexpr unsigned long IOError_Aborted = 0x83E8F4FD;     // the progress object said stop
constexpr unsigned long IOError_Busy = 0x83E8F4FC;        // the channel is locked by somebody else
constexpr unsigned long IOError_DeviceGone = 0x83E8F4FB;  // the device does not exist any more

}  // namespace QVIOStack
