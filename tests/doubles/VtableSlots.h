#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace doubles {

// The vtable slot of a virtual member function. With the Itanium C++ ABI of
// g++ the pointer holds 1 plus the byte offset of the slot.
template <typename MemberFunction>
size_t SlotOf(MemberFunction function)
{
    static_assert(sizeof function == 2 * sizeof(uintptr_t), "pointer and adjustment");
    uintptr_t raw[2];
    std::memcpy(raw, &function, sizeof raw);
    EXPECT_EQ(raw[0] & 1, 1u) << "not a virtual function";
    return (raw[0] - 1) / sizeof(void*);
}

// A class that adds one virtual function behind all of the class's own.
template <typename Class>
struct Extended : Class {
    virtual void Appended() {}
};

// The operations hold the slots firstSlot, firstSlot + 1, ... in the listed
// order, and exactly `entriesBehind` entries (a destructor's two: complete
// and deleting) follow them at the end of the class's table.
template <typename Class>
void ExpectSlotRun(const std::vector<size_t>& slots, size_t firstSlot, size_t entriesBehind = 0)
{
    for (size_t i = 0; i < slots.size(); ++i) {
        EXPECT_EQ(firstSlot + i, slots[i]) << "operation " << i;
    }
    EXPECT_EQ(firstSlot + slots.size() + entriesBehind, SlotOf(&Extended<Class>::Appended));
}

}  // namespace doubles
