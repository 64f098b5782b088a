#include "api/DornRTLLoader.h"

namespace Orvane {

namespace {

const wchar_t* const kNames[] = {L"zqdrtl12.dll"};

}  // namespace

DornRTLLoader::DornRTLLoader(QVWinApi::IKernelApi* kernelApi) : LibraryLoader(kernelApi, 1, kNames) {}

unsigned long DornRTLLoader::OpenOsDevice(const unsigned char* descriptor, DornHandle* device)
{
    const auto proc = Find<OpenOsDeviceProc>(L"_OpenOsDevice@8");
    return proc ? proc(descriptor, device) : kMissing;
}

unsigned long DornRTLLoader::DornRegisterEx(DornHandle device, DornHandle* registration)
{
    const auto proc = Find<DornRegisterExProc>(L"_DornRegisterEx@24");
    return proc ? proc(device, 0, 0, 0, 0, registration) : kMissing;
}

unsigned long DornRTLLoader::DornUnRegisterEx(DornHandle device, DornHandle registration)
{
    const auto proc = Find<DornUnRegisterExProc>(L"_DornUnRegisterEx@8");
    return proc ? proc(device, registration) : kMissing;
}

unsigned long DornRTLLoader::CloseOsDevice(DornHandle device)
{
    const auto proc = Find<CloseOsDeviceProc>(L"_CloseOsDevice@4");
    return proc ? proc(device) : kMissing;
}

unsigned long DornRTLLoader::DornGetObjectValueEx(DornHandle device, DornHandle registration,
                                                  const unsigned char* oid, unsigned long oidLength,
                                                  unsigned char* buffer, unsigned long bufferSize,
                                                  unsigned long* type, unsigned long* length)
{
    const auto proc = Find<DornGetObjectValueExProc>(L"_DornGetObjectValueEx@32");
    return proc ? proc(device, registration, oid, oidLength, buffer, bufferSize, type, length) : kMissing;
}

unsigned long DornRTLLoader::DornGetNextObjectValueEx(DornHandle device, DornHandle registration,
                                                      const unsigned char* oid, unsigned long oidLength,
                                                      unsigned char* buffer, unsigned long bufferSize,
                                                      unsigned long* nextOidLength, unsigned long* valueLength,
                                                      unsigned long* type)
{
    const auto proc = Find<DornGetNextObjectValueExProc>(L"_DornGetNextObjectValueEx@36");
    return proc ? proc(device, registration, oid, oidLength, buffer, bufferSize, nextOidLength, valueLength, type)
                : kMissing;
}

unsigned long DornRTLLoader::DornGetNextMultiObjectValuesEx(DornHandle device, DornHandle registration,
                                                            unsigned long* count, unsigned long* oidLength,
                                                            const unsigned char** oid, unsigned long bufferSize,
                                                            unsigned char* buffer, unsigned long* nextOidLength,
                                                            unsigned long* type, unsigned long* valueLength)
{
    const auto proc = Find<DornGetNextMultiObjectValuesExProc>(L"_DornGetNextMultiObjectValuesEx@40");
    return proc ? proc(device, registration, count, oidLength, oid, bufferSize, buffer, nextOidLength, type,
                       valueLength)
                : kMissing;
}

unsigned long DornRTLLoader::DornSetObjectValueEx(DornHandle device, DornHandle registration,
                                                  const unsigned char* oid, unsigned long oidLength,
                                                  const unsigned char* value, unsigned long type,
                                                  unsigned long valueSize, unsigned char* reply,
                                                  unsigned long replySize, unsigned long* replyLength)
{
    const auto proc = Find<DornSetObjectValueExProc>(L"_DornSetObjectValueEx@40");
    return proc ? proc(device, registration, oid, oidLength, value, type, valueSize, reply, replySize, replyLength)
                : kMissing;
}

}  // namespace Orvane
