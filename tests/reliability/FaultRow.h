// One row of the fault matrix: a fault made to happen to one kind of
// connection (or to what a connection leans on: its log, a device record),
// the status the caller must get and the lines the log file must hold.
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <vector>

#include "doubles/ModuleLogFile.h"
#include "logging/LogModules.h"

namespace reliability {

// The log of one run: every module writes to the file and reads the
// settings at the start and at the end, so that no module keeps writing to
// the file of an earlier run (its lines would wait in its queue for good).
class RunLog : public doubles::ModuleLogFile {
public:
    static constexpr unsigned long kCategories = 0x30000C90;
    static constexpr unsigned long kWithDebugLines = 0x30000EF0;

    // `categories`: the default LogCategories, or with debug lines.
    explicit RunLog(const wchar_t* name, const std::wstring& file = L"", unsigned long categories = kCategories)
        : ModuleLogFile({g_pOrvaneAPILog, g_pUtilsLog, g_pOrvaneLibLog, g_pDeviceManagerLibLog, g_pHTTPClientLibLog,
                         g_pIONetworkLog, g_pIOCommonLog, g_pIOUSBLog, g_pOrvaneResolverLog, g_pDiscoveryLibLog},
                        name, categories, file)
    {
    }
};

// What a fault's run left: the caller's status, the lines of the log file it
// wrote (without their process field), and what else went wrong in it.
struct Outcome {
    unsigned long status = 0xFFFFFFFF;
    std::vector<std::wstring> lines;
    std::vector<std::string> problems;

    // Records a problem when `held` is false.
    void Check(bool held, const std::string& what)
    {
        if (!held) {
            problems.push_back(what);
        }
    }
};

struct FaultRow {
    const char* connection;
    const char* fault;
    // Runs the fault once, from set-up to take-down.
    std::function<Outcome()> run;
    unsigned long status;
    // Each must begin a line of the log, in this order.
    std::vector<std::wstring> lines;
    // The longest a run may take before it counts as a hang.
    DWORD boundMs = 30000;
};

// The rows of each kind of connection, and of the faults in the log and the
// device records.
std::vector<FaultRow> NetworkRows();
std::vector<FaultRow> SecureRows();
std::vector<FaultRow> UsbRows();
std::vector<FaultRow> ComponentRows();
std::vector<FaultRow> BulkRows();
std::vector<FaultRow> LogRows();
std::vector<FaultRow> RecordRows();
std::vector<FaultRow> ResolverRows();
std::vector<FaultRow> DiscoveryRows();

// The error line a trace scope writes when it ends with an I/O status, which
// has no system text.
std::wstring ScopeErrorLine(const wchar_t* status);

// An environment value the fault matrix's script sets; empty if missing.
std::wstring ScriptSetting(const wchar_t* name);

}  // namespace reliability
