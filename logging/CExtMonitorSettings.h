#pragma once

#include <windows.h>

#include <memory>
#include <string>

#include "logging/CSharedMemBlockBase.h"
#include "logging/IExtMonitor.h"

namespace QVLogging {

// What the external monitor is told, by kind.
enum ExtMonitorNotification : int {
    kExtMonitorParameterFile = 0,
    kExtMonitorDetach = 1,
    kExtMonitorClassChanged = 2,
    kExtMonitorFunctionEntered = 3,
    kExtMonitorFunctionExited = 4,
};

// ExtMonitorFlags: what is sent besides the parameter file and the goodbye.
enum : unsigned long {
    kExtMonitorSendClasses = 1,
    kExtMonitorSendEntries = 2,
    kExtMonitorSendExits = 4,
};

// The one external monitor of the process, shared by all its log modules in
// the mapped block "ExtMonitor". A component object named by its class
// identifier in the registry; with none there, the block stays inert.
// Like the settings block it holds plain data and pointers to the heap only.
// Used under the calling module's lock and, for the poll, under the
// settings block's mutex.
class CExtMonitorSettings : public CSharedMemBlockBase {
public:
    CExtMonitorSettings();
    ~CExtMonitorSettings() override;
    CExtMonitorSettings(const CExtMonitorSettings&) = delete;
    CExtMonitorSettings& operator=(const CExtMonitorSettings&) = delete;

    // At a settings poll, with the process's key open: a new class
    // identifier replaces the monitor, which is then given its parameter
    // file.
    void ReadExtMonitorSettings(HKEY processKey, const std::wstring& processName);
    // Tells the monitor `text` as `kind`; E_NOTIMPL without a monitor.
    HRESULT Notify(int kind, const wchar_t* text);
    bool Attached() const { return m_pMonitor != nullptr; }

    IExtMonitor* m_pMonitor = nullptr;
    bool m_bComInitialized = false;
    std::unique_ptr<std::wstring> m_strCLSID;
    std::unique_ptr<std::wstring> m_strLastClass;
    unsigned long m_ulFlags = 0;
};

}  // namespace QVLogging
