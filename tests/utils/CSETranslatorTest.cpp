#include <gtest/gtest.h>

#include <windows.h>

#include <cwchar>

#include "utils/CAccessViolation.h"
#include "utils/CSETranslator.h"

using QVUtils::CAccessViolation;
using QVUtils::CSETranslator;
using QVUtils::CWin32Exception;

namespace {

// The faulting functions are called through volatile pointers: the compiler
// must not see that they cannot throw, or it leaves no handler for the call.
__attribute__((noinline)) int ReadAt(volatile int* address)
{
    return *address;
}

__attribute__((noinline)) void WriteAt(volatile int* address)
{
    *address = 1;
}

__attribute__((noinline)) int Divide(volatile int dividend, volatile int divisor)
{
    return dividend / divisor;
}

int (*volatile g_read)(volatile int*) = ReadAt;
void (*volatile g_write)(volatile int*) = WriteAt;
int (*volatile g_divide)(volatile int, volatile int) = Divide;

volatile int* const kUnmapped = reinterpret_cast<volatile int*>(0x10);

}  // namespace

TEST(CSETranslatorTest, ReadAccessViolationBecomesCAccessViolation)
{
    const long before = CWin32Exception::GetLivingCount();
    CSETranslator translator;
    try {
        g_read(kUnmapped);
        FAIL() << "no exception";
    } catch (const CAccessViolation& violation) {
        EXPECT_EQ(violation.GetCode(), 0xC0000005u);
        EXPECT_STREQ(violation.GetMessage(), L"Access violation");
        EXPECT_FALSE(violation.IsWrite());
        EXPECT_EQ(violation.GetFaultAddress(), reinterpret_cast<void*>(0x10));
        const auto* fault = static_cast<const char*>(violation.GetAddress());
        const auto* function = reinterpret_cast<const char*>(&ReadAt);
        EXPECT_GE(fault, function);
        EXPECT_LT(fault, function + 16);
        EXPECT_EQ(CWin32Exception::GetLivingCount(), before + 1);
    }
    EXPECT_EQ(CWin32Exception::GetLivingCount(), before);
}

TEST(CSETranslatorTest, WriteAccessViolationHasTheWriteFlag)
{
    CSETranslator translator;
    try {
        g_write(reinterpret_cast<volatile int*>(0x20));
        FAIL() << "no exception";
    } catch (const CAccessViolation& violation) {
        EXPECT_TRUE(violation.IsWrite());
        EXPECT_EQ(violation.GetFaultAddress(), reinterpret_cast<void*>(0x20));
    }
}

TEST(CSETranslatorTest, DivisionByZeroBecomesCWin32Exception)
{
    CSETranslator translator;
    try {
        g_divide(1, 0);
        FAIL() << "no exception";
    } catch (const CWin32Exception& exception) {
        EXPECT_EQ(dynamic_cast<const CAccessViolation*>(&exception), nullptr);
        EXPECT_EQ(exception.GetCode(), 0xC0000094u);
        EXPECT_STREQ(exception.GetMessage(), L"Division by zero");
    }
}

TEST(CSETranslatorTest, RaisedErrorBecomesCWin32Exception)
{
    CSETranslator translator;
    try {
        ::RaiseException(0xE0000123, 0, 0, nullptr);
        FAIL() << "no exception";
    } catch (const CWin32Exception& exception) {
        EXPECT_EQ(exception.GetCode(), 0xE0000123u);
        EXPECT_STREQ(exception.GetMessage(), L"Win32 exception");
    }
}

TEST(CSETranslatorTest, FaultInsideTheRunTimeLibrarysFormattingIsCaught)
{
    CSETranslator translator;
    wchar_t text[64];
    try {
        std::swprintf(text, 64, L"%ls", reinterpret_cast<const wchar_t*>(0x30));
        FAIL() << "no exception";
    } catch (const CAccessViolation& violation) {
        EXPECT_FALSE(violation.IsWrite());
        EXPECT_EQ(violation.GetFaultAddress(), reinterpret_cast<void*>(0x30));
    }
}

TEST(CSETranslatorTest, ScopesNestAndTheOuterStillTranslatesAfterTheInnerEnds)
{
    CSETranslator outer;
    {
        CSETranslator inner;
        EXPECT_THROW(g_read(kUnmapped), CAccessViolation);
    }
    EXPECT_THROW(g_read(kUnmapped), CAccessViolation);
}

TEST(CSETranslatorTest, UnwindingRunsTheDestructorsOfTheFrames)
{
    struct Flag {
        bool& set;
        ~Flag() { set = true; }
    };
    bool destroyed = false;
    CSETranslator translator;
    try {
        Flag flag{destroyed};
        g_write(kUnmapped);
    } catch (const CAccessViolation&) {
        EXPECT_TRUE(destroyed);
    }
    EXPECT_TRUE(destroyed);
}

TEST(CSETranslatorTest, TranslateFromARecordThrowsByCode)
{
    EXCEPTION_RECORD record = {};
    record.ExceptionCode = EXCEPTION_ACCESS_VIOLATION;
    record.ExceptionAddress = reinterpret_cast<void*>(0x1000);
    record.NumberParameters = 2;
    record.ExceptionInformation[0] = 1;
    record.ExceptionInformation[1] = 0x1234;
    EXCEPTION_POINTERS pointers = {&record, nullptr};
    try {
        CSETranslator::Translate(record.ExceptionCode, &pointers);
    } catch (const CAccessViolation& violation) {
        EXPECT_TRUE(violation.IsWrite());
        EXPECT_EQ(violation.GetFaultAddress(), reinterpret_cast<void*>(0x1234));
        EXPECT_EQ(violation.GetAddress(), reinterpret_cast<void*>(0x1000));
    }
    record.ExceptionCode = EXCEPTION_INT_DIVIDE_BY_ZERO;
    try {
        CSETranslator::Translate(record.ExceptionCode, &pointers);
    } catch (const CWin32Exception& exception) {
        EXPECT_EQ(dynamic_cast<const CAccessViolation*>(&exception), nullptr);
        EXPECT_EQ(exception.GetCode(), 0xC0000094u);
    }
}
