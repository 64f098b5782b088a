// A standard TCP/IP port in Wine's spooler for the flat bulk functions,
// with a queue on it: its device is a peer at port 80 of 127.0.0.1 in the
// matrix's own network namespace.
#pragma once

#include <windows.h>

#include <memory>
#include <string>

#include "api/BulkThreadSlots.h"
#include "peers/TestKey.h"
#include "resolver/SpoolerQueues.h"

namespace reliability {

class BulkPort {
public:
    static constexpr unsigned long kDeviceAddress = 0x7F000001;  // 127.0.0.1

    // The thread slots' index too, which the library's entry point makes
    // outside a test program.
    BulkPort()
    {
        Orvane::BulkThreadSlots::AllocateIndex();
        const std::wstring name = L"OrvFaultBulk" + std::to_wstring(GetCurrentProcessId());
        m_key = std::make_unique<peers::TestKey>(
            HKEY_LOCAL_MACHINE,
            L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Standard TCP/IP Port\\Ports\\" + name);
        m_key->SetString(L"HostName", L"127.0.0.1");
        m_key->SetDword(L"Protocol", 1);
        m_key->SetDword(L"PortNumber", 9100);
        m_ready = m_queues.Add(resolver_test::SpoolerQueues::Unique(L"Orvane Fault Bulk " + name), name);
        m_name = std::string(name.begin(), name.end());
    }
    BulkPort(const BulkPort&) = delete;
    BulkPort& operator=(const BulkPort&) = delete;

    bool Ready() const { return m_ready; }
    const char* Name() const { return m_name.c_str(); }

private:
    resolver_test::SpoolerQueues m_queues;
    std::unique_ptr<peers::TestKey> m_key;
    std::string m_name;
    bool m_ready = false;
};

// Made once for the program and kept.
BulkPort& BulkPortOfTheProgram();

}  // namespace reliability
