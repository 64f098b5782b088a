#pragma once

#include <windows.h>

#include "orvane64.h"

namespace Orvane {

// What a thread of the bulk functions holds: the address of its channel
// (owned), the stream and the notifier made from it on first need.
struct BulkSlot {
    Address* address;
    Stream* stream;
    void* reserved;  // stays null
    Notifier* notifier;
};

// The per-thread slots of the bulk functions, in thread-local storage. The
// index lives from the library's load to its unload; a thread's slot from
// its start (or its next channel) to its end (or the close of its channel).
class BulkThreadSlots {
public:
    // At load; false if no index can be had, which fails the load.
    static bool AllocateIndex();
    // At unload.
    static void FreeIndex();
    // Gives the calling thread a zeroed slot unless it has one; null is
    // stored if none can be allocated.
    static void MakeSlot();
    // Zeroes and frees the calling thread's slot; what it pointed to stays.
    static void FreeSlot();
    // The calling thread's slot; null if it has none.
    static BulkSlot* Current();
    static DWORD Index();
};

}  // namespace Orvane
