// The library's entry point: the bulk functions' thread slots follow the
// process and its threads.
#include <windows.h>

#include "api/BulkThreadSlots.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID)
{
    using Orvane::BulkThreadSlots;
    switch (reason) {
    case DLL_PROCESS_ATTACH:
        return BulkThreadSlots::AllocateIndex() ? TRUE : FALSE;
    case DLL_THREAD_ATTACH:
        BulkThreadSlots::MakeSlot();
        break;
    case DLL_THREAD_DETACH:
        BulkThreadSlots::FreeSlot();
        break;
    case DLL_PROCESS_DETACH:
        BulkThreadSlots::FreeIndex();
        break;
    default:
        break;
    }
    return TRUE;
}
