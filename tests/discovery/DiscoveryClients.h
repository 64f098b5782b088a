#pragma once

#include <windows.h>

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "discovery/CDiscoveryServer.h"
#include "discovery/IDiscoveryClient.h"

namespace discoverytest {

// A client that writes down every call, as "add ID", "remove ID",
// "complete", "failed N"; progress is kept apart.
class RecordingClient : public QVDiscovery::IDiscoveryClient {
public:
    void Add(QVDiscovery::IDiscoveredDevice* device, uintptr_t context) override
    {
        Note(L"add " + std::wstring(device->GetId()), context);
        if (throwInAdd) {
            throw 1;
        }
    }
    void Remove(QVDiscovery::IDiscoveredDevice* device, uintptr_t context) override
    {
        Note(L"remove " + std::wstring(device->GetId()), context);
    }
    void SearchComplete(uintptr_t context) override { Note(L"complete", context); }
    void SearchFailed(unsigned long status, uintptr_t context) override
    {
        Note(L"failed " + std::to_wstring(status), context);
    }
    bool SearchProgress(unsigned char percent, uintptr_t context) override
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            percents.push_back(percent);
            contexts.push_back(context);
        }
        return onProgress ? onProgress(percent) : true;
    }
    std::vector<std::wstring> Calls()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return calls;
    }
    std::vector<int> Percents()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return percents;
    }

    bool throwInAdd = false;
    std::function<bool(unsigned char)> onProgress;
    std::vector<uintptr_t> contexts;

private:
    void Note(const std::wstring& call, uintptr_t context)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        calls.push_back(call);
        contexts.push_back(context);
    }
    std::mutex m_mutex;
    std::vector<std::wstring> calls;
    std::vector<int> percents;
};

// A client whose every call throws.
class ThrowingClient : public QVDiscovery::IDiscoveryClient {
public:
    void Add(QVDiscovery::IDiscoveredDevice*, uintptr_t) override { throw 1; }
    void Remove(QVDiscovery::IDiscoveredDevice*, uintptr_t) override { throw 2; }
    void SearchComplete(uintptr_t) override { throw 3; }
    void SearchFailed(unsigned long, uintptr_t) override { throw 4; }
    bool SearchProgress(unsigned char, uintptr_t) override { throw 5; }
};

// A record with the given identifier.
class NamedDevice : public QVDiscovery::CDiscoveredDevice {
public:
    explicit NamedDevice(const wchar_t* id) { m_id = id; }
};

}  // namespace discoverytest
