#include <gtest/gtest.h>

#include "utils/CAccessViolation.h"
#include "utils/CWin32Exception.h"

using QVUtils::CAccessViolation;
using QVUtils::CWin32Exception;

TEST(CWin32ExceptionTest, CopyForAThrowCountsAsTwoLivingObjectsUntilOneIsDestroyed)
{
    const long before = CWin32Exception::GetLivingCount();
    {
        CWin32Exception original(EXCEPTION_INT_DIVIDE_BY_ZERO, nullptr);
        EXPECT_EQ(CWin32Exception::GetLivingCount(), before + 1);
        try {
            throw original;
        } catch (const CWin32Exception&) {
            EXPECT_EQ(CWin32Exception::GetLivingCount(), before + 2);
        }
        EXPECT_EQ(CWin32Exception::GetLivingCount(), before + 1);
    }
    EXPECT_EQ(CWin32Exception::GetLivingCount(), before);
}

TEST(CWin32ExceptionTest, MessagesFollowTheCode)
{
    int here = 0;
    const CWin32Exception divide(0xC0000094, &here);
    EXPECT_STREQ(divide.GetMessage(), L"Division by zero");
    EXPECT_STREQ(divide.what(), "Division by zero");
    EXPECT_EQ(divide.GetCode(), 0xC0000094u);
    EXPECT_EQ(divide.GetAddress(), &here);
    const CWin32Exception other(0xC000001D, nullptr);
    EXPECT_STREQ(other.GetMessage(), L"Win32 exception");
    EXPECT_STREQ(other.what(), "Win32 exception");
}

TEST(CWin32ExceptionTest, AccessViolationKeepsWriteFlagAndFaultAddress)
{
    const long before = CWin32Exception::GetLivingCount();
    {
        int here = 0;
        const CAccessViolation violation(&here, true, reinterpret_cast<void*>(0x20));
        EXPECT_EQ(CWin32Exception::GetLivingCount(), before + 1);
        EXPECT_STREQ(violation.GetMessage(), L"Access violation");
        EXPECT_STREQ(violation.what(), "Access violation");
        EXPECT_EQ(violation.GetCode(), 0xC0000005u);
        EXPECT_EQ(violation.GetAddress(), &here);
        EXPECT_TRUE(violation.IsWrite());
        EXPECT_EQ(violation.GetFaultAddress(), reinterpret_cast<void*>(0x20));
    }
    EXPECT_EQ(CWin32Exception::GetLivingCount(), before);
}
