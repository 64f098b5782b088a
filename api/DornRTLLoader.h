#pragma once

#include "api/DornRTLEntryPoints.h"
#include "iostack/LibraryLoader.h"

namespace Orvane {

// The management object run-time "zqdrtl12.dll", loaded at first use. Each
// operation looks its entry point up anew; a missing one gives 1.
class DornRTLLoader : public LibraryLoader {
public:
    // Takes ownership of `kernelApi`; null makes a platform one.
    explicit DornRTLLoader(QVWinApi::IKernelApi* kernelApi = nullptr);

    // The status an operation gives when its entry point is missing.
    static constexpr unsigned long kMissing = 1;

    unsigned long OpenOsDevice(const unsigned char* descriptor, DornHandle* device);
    unsigned long DornRegisterEx(DornHandle device, DornHandle* registration);
    unsigned long DornUnRegisterEx(DornHandle device, DornHandle registration);
    unsigned long CloseOsDevice(DornHandle device);
    unsigned long DornGetObjectValueEx(DornHandle device, DornHandle registration, const unsigned char* oid,
                                       unsigned long oidLength, unsigned char* buffer, unsigned long bufferSize,
                                       unsigned long* type, unsigned long* length);
    unsigned long DornGetNextObjectValueEx(DornHandle device, DornHandle registration, const unsigned char* oid,
                                           unsigned long oidLength, unsigned char* buffer, unsigned long bufferSize,
                                           unsigned long* nextOidLength, unsigned long* valueLength,
                                           unsigned long* type);
    unsigned long DornGetNextMultiObjectValuesEx(DornHandle device, DornHandle registration, unsigned long* count,
                                                 unsigned long* oidLength, const unsigned char** oid,
                                                 unsigned long bufferSize, unsigned char* buffer,
                                                 unsigned long* nextOidLength, unsigned long* type,
                                                 unsigned long* valueLength);
    unsigned long DornSetObjectValueEx(DornHandle device, DornHandle registration, const unsigned char* oid,
                                       unsigned long oidLength, const unsigned char* value, unsigned long type,
                                       unsigned long valueSize, unsigned char* reply, unsigned long replySize,
                                       unsigned long* replyLength);

private:
    template <typename Proc>
    Proc Find(const wchar_t* name)
    {
        return reinterpret_cast<Proc>(reinterpret_cast<void*>(GetProcAddress(name)));
    }
};

}  // namespace Orvane
