#include "ResolveCase.h"

#include <windows.h>
#include <winspool.h>

#include <vector>

#include "resolver/Resolver.h"

namespace bench {

ResolveCase::ResolveCase(const std::string& id, std::wstring queue)
    : BenchCase(id, Unit::NanosecondsPerOp), m_queue(std::move(queue))
{
}

unsigned long long ResolveCase::Step()
{
    const std::shared_ptr<Orvane::Resolver> resolver = Orvane::Resolver::Create();
    return resolver->Resolve(m_queue.c_str(), Orvane::RESOLVE_TYPE_PRINTER) == S_OK ? 1 : 0;
}

unsigned long long EnumPrintersCase::Step()
{
    constexpr DWORD kFlags = PRINTER_ENUM_LOCAL | PRINTER_ENUM_CONNECTIONS;
    DWORD needed = 0;
    DWORD returned = 0;
    EnumPrintersW(kFlags, nullptr, 2, nullptr, 0, &needed, &returned);
    std::vector<BYTE> buffer(needed);
    return needed != 0
            && EnumPrintersW(kFlags, nullptr, 2, buffer.data(), needed, &needed, &returned)
            && returned != 0
        ? 1
        : 0;
}

unsigned long long ThreadStartCase::Step()
{
    const HANDLE thread = CreateThread(nullptr, 0, [](void*) -> DWORD { return 0; }, nullptr, 0, nullptr);
    if (thread == nullptr) {
        return 0;
    }
    const bool ended = WaitForSingleObject(thread, INFINITE) == WAIT_OBJECT_0;
    CloseHandle(thread);
    return ended ? 1 : 0;
}

}  // namespace bench
