// Faults of a resolve, which every address made from a queue or port name
// goes through: the spooler's enumeration failing, and the port's registry
// key removed while the resolve reads it.
#include <windows.h>

#include <atomic>
#include <string>

#include "doubles/ApiOverride.h"
#include "doubles/ModuleLogFile.h"
#include "logging/LogModules.h"
#include "peers/TestKey.h"
#include "reliability/FaultRow.h"
#include "resolver/ProbeResolver.h"
#include "resolver/ResolverTestSupport.h"
#include "resolver/SpoolerQueues.h"
#include "winapi/CRegistryApi.h"
#include "winapi/CSpoolerApi.h"

using namespace Orvane;
using resolver_test::ProbeResolver;
using resolver_test::SpoolerQueues;

namespace reliability {
namespace {

// The spooler's enumeration fails as when the spooler service is not
// running. A double at the spooler seam: Wine's spooler runs inside the
// process and cannot be stopped under a test.
class StoppedSpooler : public QVWinApi::CSpoolerApi {
public:
    BOOL EnumPrintersW(DWORD, LPWSTR, DWORD, LPBYTE, DWORD, LPDWORD, LPDWORD) override
    {
        SetLastError(RPC_S_SERVER_UNAVAILABLE);
        return FALSE;
    }
};

// Removes a port's key from the real registry right after the resolve
// opened it. The removal is Wine's registry's own; the double only picks
// the moment, which no platform call lets a test choose from outside the
// resolve's thread.
class KeyRemovingRegistry : public QVWinApi::CRegistryApi {
public:
    KeyRemovingRegistry(std::wstring port, std::wstring path) : m_port(std::move(port)), m_path(std::move(path)) {}
    LSTATUS RegOpenKeyExW(HKEY parent, LPCWSTR subkey, DWORD options, REGSAM access, PHKEY result) override
    {
        const LSTATUS opened = QVWinApi::CRegistryApi::RegOpenKeyExW(parent, subkey, options, access, result);
        const std::wstring name = subkey ? subkey : L"";
        if (opened == ERROR_SUCCESS && name.size() >= m_port.size()
            && name.compare(name.size() - m_port.size(), m_port.size(), m_port) == 0 && !removed.exchange(true)) {
            ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, m_path.c_str());
            ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, m_path.c_str());
        }
        return opened;
    }
    std::atomic<bool> removed{false};

private:
    std::wstring m_port;
    std::wstring m_path;
};

template <typename Act>
Outcome OnResolverLog(Act act)
{
    Outcome outcome;
    RunLog log(L"fault-resolve");
    outcome.status = static_cast<unsigned long>(act(outcome));
    outcome.lines = log.Lines();
    return outcome;
}

Outcome SpoolerCallFailing()
{
    return OnResolverLog([](Outcome& o) {
        SpoolerQueues queues;
        const std::wstring name = SpoolerQueues::Unique(L"Orvane Fault Spooler");
        o.Check(queues.Add(name, L"USB001"), "the queue could not be added");
        StoppedSpooler spooler;
        doubles::ApiOverride<QVWinApi::ISpoolerApi> swap(g_pSpoolerApi, spooler);
        auto resolver = ProbeResolver::Make();
        return resolver->Resolve(name.c_str(), RESOLVE_TYPE_PRINTER);
    });
}

Outcome RegistryKeyRemovedDuringAResolve()
{
    return OnResolverLog([](Outcome& o) {
        const std::wstring port = L"ORV_FAULT_" + std::to_wstring(GetCurrentProcessId());
        const std::wstring path = resolver_test::MonitorPortKeys()[0] + L"\\" + port;
        SpoolerQueues queues;
        const std::wstring name = SpoolerQueues::Unique(L"Orvane Fault Key");
        HRESULT status = E_UNEXPECTED;
        {
            peers::TestKey key(HKEY_LOCAL_MACHINE, path);
            key.SetString(L"HostName", L"localhost");
            key.SetDword(L"PortNumber", 9100);
            key.SetDword(L"Protocol", 1);
            o.Check(queues.Add(name, port), "the queue could not be added");
            KeyRemovingRegistry registry(port, path);
            doubles::ApiOverride<QVWinApi::IRegistryApi> swap(g_pRegistryApi, registry);
            auto resolver = ProbeResolver::Make();
            status = resolver->Resolve(name.c_str(), RESOLVE_TYPE_PRINTER);
            o.Check(registry.removed, "the port's key was never opened");
        }
        return status;
    });
}

}  // namespace

std::vector<FaultRow> ResolverRows()
{
    return {
        {"resolve", "spooler call failing", SpoolerCallFailing, static_cast<unsigned long>(E_FAIL),
         {L"(##) Failed to match printer information Orvane Fault Spooler "}},
        {"resolve", "registry key removed during a resolve", RegistryKeyRemovedDuringAResolve,
         static_cast<unsigned long>(E_FAIL), {L"(##) RegQueryValueExW RETURNED: 0x1018"}},
    };
}

}  // namespace reliability
