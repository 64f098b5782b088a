// A search by the library's own discovery server while the adapter it
// searches from goes down: the search ends with its status when asked to,
// its threads end, and nothing is left behind. The adapter is a veth of
// the test's namespace; fault-matrix.sh switches it when the test asks,
// through files in a folder of the script's.
#include <windows.h>

#include <string>

#include "discovery/DiscoveryLib.h"
#include "discovery/DiscoveryStatus.h"
#include "discovery/IDiscoveryServer.h"
#include "reliability/FaultRow.h"

using namespace QVDiscovery;

namespace reliability {
namespace {

// Asks the script to set the adapter "down" or "up" by making a file of
// that name; the script answers with "<name>.done". False after 10 s.
bool SwitchAdapter(const std::wstring& folder, const wchar_t* state)
{
    const std::wstring request = folder + L"\\" + state;
    const std::wstring done = request + L".done";
    DeleteFileW(done.c_str());
    HANDLE file = CreateFileW(request.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return false;
    }
    CloseHandle(file);
    HANDLE change = FindFirstChangeNotificationW(folder.c_str(), FALSE, FILE_NOTIFY_CHANGE_FILE_NAME);
    const DWORD start = GetTickCount();
    bool switched = false;
    while (!(switched = GetFileAttributesW(done.c_str()) != INVALID_FILE_ATTRIBUTES) && GetTickCount() - start < 10000
           && change != INVALID_HANDLE_VALUE) {
        WaitForSingleObject(change, 100);
        FindNextChangeNotification(change);
    }
    if (change != INVALID_HANDLE_VALUE) {
        FindCloseChangeNotification(change);
    }
    DeleteFileW(done.c_str());
    return switched;
}

// Takes the adapter down at the search's first progress call and asks the
// search to stop a second later.
class DownSwitchingClient : public IDiscoveryClient {
public:
    explicit DownSwitchingClient(std::wstring folder) : m_folder(std::move(folder)) {}
    void Add(IDiscoveredDevice*, uintptr_t) override { ++adds; }
    void Remove(IDiscoveredDevice*, uintptr_t) override {}
    void SearchComplete(uintptr_t) override { ending = "complete"; }
    void SearchFailed(unsigned long status, uintptr_t) override { ending = "failed " + std::to_string(status); }
    bool SearchProgress(unsigned char, uintptr_t) override
    {
        if (++m_calls == 1) {
            down = SwitchAdapter(m_folder, L"down");
        }
        return m_calls < kCallsBeforeStop;
    }

    static constexpr int kCallsBeforeStop = 10;
    bool down = false;
    int adds = 0;
    std::string ending;

private:
    std::wstring m_folder;
    int m_calls = 0;
};

Outcome AdapterDownDuringASearch()
{
    Outcome outcome;
    const std::wstring folder = ScriptSetting(L"ORVANE_ADAPTER_CONTROL");
    const std::wstring local = ScriptSetting(L"ORVANE_ADAPTER_ADDRESS");
    outcome.Check(!folder.empty() && !local.empty(),
                  "ORVANE_ADAPTER_CONTROL is not set: run through tests/reliability/fault-matrix.sh");
    if (!outcome.problems.empty()) {
        return outcome;
    }
    RunLog log(L"fault-discovery", L"", RunLog::kWithDebugLines);
    DownSwitchingClient client(folder);
    IDiscoveryServer* server = nullptr;
    outcome.Check(InitDiscoveryLib() == DISCOVERY_OK, "the discovery library did not start");
    outcome.Check(CreateDiscoveryServer(0, &server) == DISCOVERY_OK && server != nullptr, "no discovery server");
    if (server != nullptr) {
        server->RegisterClient(&client);
        outcome.status = server->SearchByType(L"zqd:FaultTest", 1);
        server->UnregisterClient(&client);
        DestroyDiscoveryServer(server);
    }
    TermDiscoveryLib();
    outcome.Check(client.down, "the adapter was not taken down");
    outcome.Check(SwitchAdapter(folder, L"up"), "the adapter was not brought up again");
    outcome.Check(client.ending == "failed 11", "the search ended with '" + client.ending + "'");
    outcome.Check(client.adds == 0, "a device was found");
    outcome.lines = log.Lines();
    return outcome;
}

}  // namespace

std::vector<FaultRow> DiscoveryRows()
{
    const std::wstring local = ScriptSetting(L"ORVANE_ADAPTER_ADDRESS");
    return {
        {"discovery", "adapter going down during a search", AdapterDownDuringASearch, DISCOVERY_E_NOT_FOUND,
         {L"(DB) Main Discovery thread has started", L"(DB) Discovery thread for adapter (" + local + L") has started",
          L"(DB) Event thread or adapter (" + local + L") has stopped", L"(DB) Main Discovery thread has stopped"}},
    };
}

}  // namespace reliability
