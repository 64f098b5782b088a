#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <deque>
#include <set>
#include <string>
#include <utility>

#include "discovery/CDiscoveredDevice.h"
#include "discovery/IDiscoveryServer.h"

namespace QVDiscovery {

// The parameters of one search.
struct SearchRequest {
    unsigned long type = 0;
    const wchar_t* target = nullptr;
    uintptr_t context = 0;
    // 1 for a search by address: no adapter enumeration is needed.
    unsigned long oneThread = 0;
};

struct DiscoveryThreadArgs;

// What every server shares: the client set and the one way a search runs,
// with an event thread that alone calls the clients, a main discovery thread
// of the server's own, two queues between them, a time limit and progress.
class CDiscoveryServer : public IDiscoveryServer {
public:
    // A first-in, first-out queue of device copies and their contexts.
    class CEventQueue {
    public:
        CEventQueue();
        virtual ~CEventQueue();
        CEventQueue(const CEventQueue&) = delete;
        CEventQueue& operator=(const CEventQueue&) = delete;

        // Made on the first request; set while events wait.
        virtual HANDLE GetEventHandle();
        // How many devices have been handed to the clients.
        virtual long GetEventCount();
        virtual unsigned long QueueEvent(const CDiscoveredDevice& device, uintptr_t context);
        // Hands every waiting device to the server, no lock held meanwhile.
        virtual unsigned long FireEvents(CDiscoveryServer& server);
        virtual void Fire(CDiscoveryServer& server, IDiscoveredDevice& device, uintptr_t context) = 0;

    private:
        HANDLE m_hEvent = nullptr;
        CRITICAL_SECTION m_lock;
        std::deque<std::pair<CDiscoveredDevice, uintptr_t>> m_qEvents;
        std::atomic<long> m_lCount{0};
    };
    class CAddEventQueue : public CEventQueue {
    public:
        void Fire(CDiscoveryServer& server, IDiscoveredDevice& device, uintptr_t context) override;
    };
    class CRemoveEventQueue : public CEventQueue {
    public:
        void Fire(CDiscoveryServer& server, IDiscoveredDevice& device, uintptr_t context) override;
    };

    // The block of the event thread.
    struct EventThreadArgs {
        CDiscoveryServer* server = nullptr;
        DWORD timeLimit = 0;
        HANDLE stopEvent = nullptr;
        uintptr_t context = 0;
        CEventQueue* addQueue = nullptr;
        CEventQueue* removeQueue = nullptr;
        unsigned long result = 10;
    };

    CDiscoveryServer();
    ~CDiscoveryServer() override;
    CDiscoveryServer(const CDiscoveryServer&) = delete;
    CDiscoveryServer& operator=(const CDiscoveryServer&) = delete;

    unsigned long RegisterClient(IDiscoveryClient* client) override;
    unsigned long UnregisterClient(IDiscoveryClient* client) override;
    unsigned long SearchById(const wchar_t* id, uintptr_t context) override;
    unsigned long SearchByAddress(const wchar_t* address, uintptr_t context) override;
    unsigned long SearchByType(const wchar_t* types, uintptr_t context) override;

    // The search's length in seconds.
    virtual unsigned long GetSearchTimeout(unsigned long type) = 0;
    virtual unsigned long MainDiscoveryThreadProc(DiscoveryThreadArgs& args) = 0;
    virtual unsigned long EventThreadProc(EventThreadArgs& args);
    virtual void Fire_Add(IDiscoveredDevice& device, uintptr_t context);
    virtual void Fire_Remove(IDiscoveredDevice& device, uintptr_t context);
    virtual bool Fire_SearchProgress(unsigned char percent, uintptr_t context);
    virtual void Fire_SearchComplete(uintptr_t context);
    virtual void Fire_SearchFailed(unsigned long status, uintptr_t context);

protected:
    unsigned long SearchForDevices(const SearchRequest& request);

private:
    static unsigned __stdcall MainDiscoveryThread(void* args);
    static unsigned __stdcall EventThread(void* args);
    bool ReportProgress(const EventThreadArgs& args, DWORD start);

    std::set<IDiscoveryClient*> m_clients;
    CRITICAL_SECTION m_clientsLock;
};

// The block of one discovery thread: the main one has an empty local
// address, each thread of the own server the address it searches from.
struct DiscoveryThreadArgs {
    CDiscoveryServer* server = nullptr;
    std::string localAddress;
    HANDLE stopEvent = nullptr;
    SearchRequest request;
    CDiscoveryServer::CEventQueue* addQueue = nullptr;
    CDiscoveryServer::CEventQueue* removeQueue = nullptr;
    unsigned long result = 10;
};

}  // namespace QVDiscovery
