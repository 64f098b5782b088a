#pragma once

#include "logging/CLogModule.h"

// The log module of each library of the system. The modules are made ahead
// of the libraries' other static objects and stay usable until those are
// gone.
extern QVLogging::CLogModule* g_pOrvaneAPILog;
extern QVLogging::CLogModule* g_pUtilsLog;
extern QVLogging::CLogModule* g_pOrvaneLibLog;
extern QVLogging::CLogModule* g_pDeviceManagerLibLog;
extern QVLogging::CLogModule* g_pHTTPClientLibLog;
extern QVLogging::CLogModule* g_pIONetworkLog;
extern QVLogging::CLogModule* g_pIOCommonLog;
extern QVLogging::CLogModule* g_pIOUSBLog;
extern QVLogging::CLogModule* g_pOrvaneResolverLog;
extern QVLogging::CLogModule* g_pDiscoveryLibLog;
