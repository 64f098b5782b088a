#include "StreamMemoryCase.h"

#include <windows.h>
#include <psapi.h>

#include <cstdio>

#include "Samples.h"

namespace bench {

StreamMemoryCase::~StreamMemoryCase()
{
    DisposeAll();
}

bool StreamMemoryCase::Run(int runs)
{
    if (Batch() < 0) {
        return false;
    }
    Samples samples;
    for (int i = 0; i < runs; ++i) {
        const double perStream = Batch();
        if (perStream < 0) {
            return false;
        }
        samples.Add(perStream);
    }
    std::printf("open %s %zu\n", m_id.c_str(), m_streams.size());
    samples.Print(m_id, "B");
    DisposeAll();
    return true;
}

double StreamMemoryCase::Batch()
{
    Orvane::Address* address = Orvane::CreateAddressFromIPAddress(L"127.0.0.1");
    if (address == nullptr) {
        return -1;
    }
    const unsigned long long before = PrivateBytes();
    bool ok = true;
    for (int i = 0; i < m_batch && ok; ++i) {
        Orvane::Stream* stream = nullptr;
        address->CreateStream(m_port, &stream);
        ok = stream != nullptr;
        if (ok) {
            m_streams.push_back(stream);
            ok = stream->Open() == 0;
        }
    }
    const unsigned long long after = PrivateBytes();
    address->Dispose();
    if (!ok) {
        std::fprintf(stderr, "%s: stream %zu did not open\n", m_id.c_str(), m_streams.size());
        return -1;
    }
    return (static_cast<double>(after) - static_cast<double>(before)) / m_batch;
}

unsigned long long StreamMemoryCase::PrivateBytes()
{
    PROCESS_MEMORY_COUNTERS_EX counters{};
    counters.cb = sizeof(counters);
    GetProcessMemoryInfo(GetCurrentProcess(), reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&counters),
                         sizeof(counters));
    // Windows gives the commit charge in both fields; Wine 8 leaves
    // PrivateUsage at 0 and gives the process's resident anonymous memory
    // as PagefileUsage.
    return counters.PrivateUsage != 0 ? counters.PrivateUsage : counters.PagefileUsage;
}

void StreamMemoryCase::DisposeAll()
{
    for (Orvane::Stream* stream : m_streams) {
        stream->Dispose();
    }
    m_streams.clear();
}

}  // namespace bench
