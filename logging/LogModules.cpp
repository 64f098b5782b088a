#include "logging/LogModules.h"

// Constructed before the default-priority static objects of every library,
// so that their constructors and destructors can log. Before construction
// and after destruction a module's storage reads as uninitialised and its
// logging calls do nothing.
#define ORVANE_LOG_MODULE(name)                                                             \
    QVLogging::CLogModule s_##name##Log __attribute__((init_priority(200)))(                \
        #name, __DATE__, __TIME__, nullptr, 30)

namespace {

ORVANE_LOG_MODULE(OrvaneAPI);
ORVANE_LOG_MODULE(Utils);
ORVANE_LOG_MODULE(OrvaneLib);
ORVANE_LOG_MODULE(DeviceManagerLib);
ORVANE_LOG_MODULE(HTTPClientLib);
ORVANE_LOG_MODULE(IONetwork);
ORVANE_LOG_MODULE(IOCommon);
ORVANE_LOG_MODULE(IOUSB);
ORVANE_LOG_MODULE(OrvaneResolver);
ORVANE_LOG_MODULE(DiscoveryLib);

}  // namespace

QVLogging::CLogModule* g_pOrvaneAPILog = &s_OrvaneAPILog;
QVLogging::CLogModule* g_pUtilsLog = &s_UtilsLog;
QVLogging::CLogModule* g_pOrvaneLibLog = &s_OrvaneLibLog;
QVLogging::CLogModule* g_pDeviceManagerLibLog = &s_DeviceManagerLibLog;
QVLogging::CLogModule* g_pHTTPClientLibLog = &s_HTTPClientLibLog;
QVLogging::CLogModule* g_pIONetworkLog = &s_IONetworkLog;
QVLogging::CLogModule* g_pIOCommonLog = &s_IOCommonLog;
QVLogging::CLogModule* g_pIOUSBLog = &s_IOUSBLog;
QVLogging::CLogModule* g_pOrvaneResolverLog = &s_OrvaneResolverLog;
QVLogging::CLogModule* g_pDiscoveryLibLog = &s_DiscoveryLibLog;
