// The bulk functions' exclusive lock, passed to the component library: the
// stand-ins, or none on the machine.
#include <gtest/gtest.h>

#include <windows.h>

#include <cstdio>

#include "ComponentLibraries.h"
#include "UsbFixture.h"
#include "orvane64_bulk.h"

namespace usb_test {

namespace {

using UsbBulk = UsbFixture;

TEST_F(UsbBulk, ExclusiveBulkLockWithNoComponentLibraryReturnsTrue)
{
    ComponentLibraries none(L"none");
    EXPECT_EQ(ExclusiveBulkLock(nullptr, nullptr, 0), 1);
    EXPECT_EQ(ExclusiveBulkUnlock(nullptr, nullptr), 1);
    EXPECT_FALSE(ComponentLibraries::AnyLoaded());
}

TEST_F(UsbBulk, ExclusiveBulkLockPassesItsArgumentsToTheComponentLibrary)
{
    ComponentLibraries libraries(L"all");
    int a = 0;
    int b = 0;
    EXPECT_EQ(ExclusiveBulkLock(&a, &b, 7), 1);
    EXPECT_EQ(ExclusiveBulkUnlock(&a, &b), 1);
    libraries.Fail("ExclusiveBulkLock=5");
    EXPECT_EQ(ExclusiveBulkLock(&a, &b, 8), 0) << "a library that refuses";
    char expected[256];
    std::snprintf(expected, sizeof(expected),
                  "zqcvarlo.dll:ExclusiveBulkLock(%llx,%llx,7);zqcvarlo.dll:ExclusiveBulkUnlock(%llx,%llx);"
                  "zqcvarlo.dll:ExclusiveBulkLock(%llx,%llx,8);",
                  (unsigned long long)(ULONG_PTR)&a, (unsigned long long)(ULONG_PTR)&b,
                  (unsigned long long)(ULONG_PTR)&a, (unsigned long long)(ULONG_PTR)&b,
                  (unsigned long long)(ULONG_PTR)&a, (unsigned long long)(ULONG_PTR)&b);
    EXPECT_EQ(ComponentLibraries::Calls(), expected);
}

}  // namespace

}  // namespace usb_test
