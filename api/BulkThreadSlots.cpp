#include "api/BulkThreadSlots.h"

#include <cstring>

#include "winapi/IKernelApi.h"

namespace Orvane {

namespace {

DWORD g_slotIndex = TLS_OUT_OF_INDEXES;

}  // namespace

bool BulkThreadSlots::AllocateIndex()
{
    if (g_slotIndex == TLS_OUT_OF_INDEXES) {
        g_slotIndex = TlsAlloc();
    }
    return g_slotIndex != TLS_OUT_OF_INDEXES;
}

void BulkThreadSlots::FreeIndex()
{
    if (g_slotIndex != TLS_OUT_OF_INDEXES) {
        TlsFree(g_slotIndex);
    }
    g_slotIndex = TLS_OUT_OF_INDEXES;
}

void BulkThreadSlots::MakeSlot()
{
    if (g_slotIndex == TLS_OUT_OF_INDEXES || Current() != nullptr) {
        return;
    }
    void* slot = g_pKernelApi->LocalAlloc(LPTR, sizeof(BulkSlot));
    TlsSetValue(g_slotIndex, slot);
}

void BulkThreadSlots::FreeSlot()
{
    BulkSlot* slot = Current();
    if (slot == nullptr) {
        return;
    }
    std::memset(slot, 0, sizeof(BulkSlot));
    g_pKernelApi->LocalFree(slot);
    TlsSetValue(g_slotIndex, nullptr);
}

BulkSlot* BulkThreadSlots::Current()
{
    if (g_slotIndex == TLS_OUT_OF_INDEXES) {
        return nullptr;
    }
    return static_cast<BulkSlot*>(TlsGetValue(g_slotIndex));
}

DWORD BulkThreadSlots::Index()
{
    return g_slotIndex;
}

}  // namespace Orvane
