#pragma once

#include <cstdint>

// Status codes of the HTTP client. 0 is success; every failure is negative
// when read as a signed 32-bit value.
namespace QVIOStack {

constexpr unsigned long Error_Fail = 0x83E8F5FF;               // general failure, also a malformed response
constexpr unsigned long Error_InvalidArgument = 0x83E8F5FE;    // null parameters, no connection, empty URI, unknown method
constexpr unsigned long Error_Timeout = 0x83E8F5FD;            // read or write timed out, or transferred nothing
constexpr unsigned long Error_Open_Fail = 0x83E8F5FC;          // the connection's Open failed
constexpr unsigned long Error_Close_Fail = 0x83E8F5FB;         // the connection's Close failed
constexpr unsigned long Error_IO_Read_Fail = 0x83E8F5FA;       // read failed
constexpr unsigned long Error_IO_Write_Fail = 0x83E8F5F9;      // write failed
constexpr unsigned long Error_OutOfMemory = 0x83E8F5F8;        // an allocation failed
constexpr unsigned long Error_NoLocation = 0x83E8F5F7;         // redirect without Location
constexpr unsigned long Error_BadLocation = 0x83E8F5F6;        // Location not absolute, or the old URI has no "/"
constexpr unsigned long Error_ContentBufferFull = 0x83E8F5F5;  // the caller's ContentBuffer is full
constexpr unsigned long Error_Device_Busy = 0x83E8F5F4;        // the channel is locked by somebody else
constexpr unsigned long Error_Device_Gone = 0x83E8F5F3;        // the device is gone
constexpr unsigned long Error_Aborted = 0x83E8FFFE;            // the progress object said stop
constexpr unsigned long Error_Connection = 0x83E8FFF4;         // passed through unchanged from Open

// Whether a status is a failure: negative as a signed 32-bit value.
inline bool IsHTTPFailure(unsigned long status)
{
    return static_cast<int32_t>(status) < 0;
}

}  // namespace QVIOStack
