#include "reliability/Resources.h"

#include <windows.h>
#include <tlhelp32.h>
#include <winternl.h>

#include <algorithm>
#include <vector>

#include "fuzz/MemoryCounters.h"

namespace reliability {

namespace {

unsigned long ThreadsOfThisProcess()
{
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    if (snapshot == INVALID_HANDLE_VALUE) {
        return 0;
    }
    unsigned long count = 0;
    THREADENTRY32 entry{};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
        count += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
    }
    CloseHandle(snapshot);
    return count;
}

// Wine's GetProcessHandleCount gives 0: the handles are counted in the
// system's table of handles, by owner.
unsigned long HandlesOfThisProcess(unsigned short* values, unsigned long room)
{
    struct Entry {
        ULONG ownerPid;
        BYTE objectType;
        BYTE flags;
        USHORT handle;
        PVOID object;
        ACCESS_MASK access;
    };
    struct Table {
        ULONG count;
        Entry entries[1];
    };
    constexpr auto kSystemHandleInformation = static_cast<SYSTEM_INFORMATION_CLASS>(16);
    using Query = NTSTATUS(WINAPI*)(SYSTEM_INFORMATION_CLASS, PVOID, ULONG, PULONG);
    static const auto query =
        reinterpret_cast<Query>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation"));
    std::vector<BYTE> buffer(1 << 20);
    for (;;) {
        ULONG needed = 0;
        const NTSTATUS status =
            query(kSystemHandleInformation, buffer.data(), static_cast<ULONG>(buffer.size()), &needed);
        if (status == 0) {
            break;
        }
        if (status != static_cast<NTSTATUS>(0xC0000004) || buffer.size() > (64u << 20)) {  // length mismatch
            return 0;
        }
        buffer.resize(buffer.size() * 2);
    }
    const auto* table = reinterpret_cast<const Table*>(buffer.data());
    unsigned long count = 0;
    for (ULONG i = 0; i < table->count; ++i) {
        if (table->entries[i].ownerPid == GetCurrentProcessId()) {
            if (count < room) {
                values[count] = table->entries[i].handle;
            }
            ++count;
        }
    }
    return count;
}

// The kind of a handle ("Event", "File", ...), as the system names it.
std::string KindOf(unsigned short value)
{
    using Query = NTSTATUS(WINAPI*)(HANDLE, ULONG, PVOID, ULONG, PULONG);
    static const auto query = reinterpret_cast<Query>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQueryObject"));
    alignas(8) BYTE buffer[1024] = {};
    constexpr ULONG kObjectTypeInformation = 2;
    if (query(reinterpret_cast<HANDLE>(static_cast<uintptr_t>(value)), kObjectTypeInformation, buffer, sizeof(buffer),
              nullptr)
        != 0) {
        return "?";
    }
    const auto* name = reinterpret_cast<const UNICODE_STRING*>(buffer);
    std::string kind;
    for (USHORT i = 0; i < name->Length / 2; ++i) {
        kind += static_cast<char>(name->Buffer[i]);
    }
    return kind;
}

void Compare(const char* what, long long before, long long after, std::string* growth)
{
    if (after > before) {
        *growth += std::string(growth->empty() ? "" : ", ") + what + " " + std::to_string(before) + " -> "
            + std::to_string(after);
    }
}

}  // namespace

Resources Resources::Now()
{
    Resources now;
    now.handles = HandlesOfThisProcess(now.handleValues, kNamed);
    now.threads = ThreadsOfThisProcess();
    now.liveBlocks = fuzz::MemoryCounters::Now().liveAllocations;
    return now;
}

std::string Resources::GrowthTo(const Resources& after) const
{
    std::string growth;
    Compare("handles", handles, after.handles, &growth);
    if (after.handles > handles) {
        std::string kinds;
        const unsigned long known = std::min(handles, kNamed);
        for (unsigned long i = 0; i < std::min(after.handles, kNamed); ++i) {
            if (std::find(handleValues, handleValues + known, after.handleValues[i]) == handleValues + known) {
                kinds += (kinds.empty() ? "" : " ") + KindOf(after.handleValues[i]);
            }
        }
        growth += " (" + kinds + ")";
    }
    Compare("threads", threads, after.threads, &growth);
    Compare("live blocks", liveBlocks, after.liveBlocks, &growth);
    return growth;
}

}  // namespace reliability
