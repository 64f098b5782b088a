// The entry points of the management object run-time "zqdrtl12.dll", a
// closed library of the same family. Handles are pointer-wide; every entry
// point returns 0 for success.
#pragma once

#include <cstdint>

namespace Orvane {

using DornHandle = std::uintptr_t;

// The device descriptor given to "_OpenOsDevice@8".
constexpr unsigned kDornDescriptorSize = 32;
constexpr unsigned kDornDescriptorTypeOffset = 20;
constexpr unsigned kDornDescriptorAddressOffset = 24;
// Connection types of the descriptor.
constexpr unsigned long kDornPortName = 3;
constexpr unsigned long kDornIPAddress = 4;

using OpenOsDeviceProc = unsigned long (*)(const unsigned char* descriptor, DornHandle* device);
using DornRegisterExProc = unsigned long (*)(DornHandle device, DornHandle, DornHandle, DornHandle, DornHandle,
                                             DornHandle* registration);
using DornUnRegisterExProc = unsigned long (*)(DornHandle device, DornHandle registration);
using CloseOsDeviceProc = unsigned long (*)(DornHandle device);
using DornGetObjectValueExProc = unsigned long (*)(DornHandle device, DornHandle registration,
                                                   const unsigned char* oid, unsigned long oidLength,
                                                   unsigned char* buffer, unsigned long bufferSize,
                                                   unsigned long* type, unsigned long* length);
using DornGetNextObjectValueExProc = unsigned long (*)(DornHandle device, DornHandle registration,
                                                       const unsigned char* oid, unsigned long oidLength,
                                                       unsigned char* buffer, unsigned long bufferSize,
                                                       unsigned long* nextOidLength, unsigned long* valueLength,
                                                       unsigned long* type);
using DornGetNextMultiObjectValuesExProc = unsigned long (*)(DornHandle device, DornHandle registration,
                                                             unsigned long* count, unsigned long* oidLength,
                                                             const unsigned char** oid, unsigned long bufferSize,
                                                             unsigned char* buffer, unsigned long* nextOidLength,
                                                             unsigned long* type, unsigned long* valueLength);
using DornSetObjectValueExProc = unsigned long (*)(DornHandle device, DornHandle registration,
                                                   const unsigned char* oid, unsigned long oidLength,
                                                   const unsigned char* value, unsigned long type,
                                                   unsigned long valueSize, unsigned char* reply,
                                                   unsigned long replySize, unsigned long* replyLength);

}  // namespace Orvane
