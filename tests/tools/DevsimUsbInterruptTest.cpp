// orvane-devsim --usb answers a host's interrupt requests on the virtual
// printer's configuration function: without an interrupt, with one, and by
// unplugging the function while a request waits. The host's side is the
// plain control request on the device path.
#include <gtest/gtest.h>

#include <windows.h>

#include <string>

#include "tools/ChildProcess.h"

using toolstest::ChildProcess;

namespace {

const char kConfigPath[] = "\\\\?\\usb#vid_1234&pid_5678#zq0001&mi_01#{28d78fad-5a12-11d1-ae5b-0000f803a8c2}";
constexpr DWORD kInterruptRequest = 0x80002008;

struct Answer {
    bool ok = false;
    DWORD error = 0;
    DWORD count = 0;
    unsigned char bytes[8] = {};
    DWORD waitedMs = 0;
};

// One control request, waited for at most 10 s.
Answer AskForInterrupt(HANDLE device)
{
    Answer answer;
    OVERLAPPED overlapped{};
    overlapped.hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    const DWORD start = GetTickCount();
    answer.ok = DeviceIoControl(device, kInterruptRequest, nullptr, 0, answer.bytes, sizeof(answer.bytes),
                                &answer.count, &overlapped) != FALSE;
    if (!answer.ok && GetLastError() == ERROR_IO_PENDING) {
        if (WaitForSingleObject(overlapped.hEvent, 10000) != WAIT_OBJECT_0) {
            CancelIo(device);
        }
        answer.ok = GetOverlappedResult(device, &overlapped, &answer.count, TRUE) != FALSE;
    }
    answer.error = answer.ok ? 0 : GetLastError();
    answer.waitedMs = GetTickCount() - start;
    CloseHandle(overlapped.hEvent);
    return answer;
}

TEST(DevsimUsb, TheConfigurationFunctionAnswersWithoutAnInterruptThenWithOneThenIsUnplugged)
{
    ChildProcess devsim;
    ASSERT_TRUE(devsim.Start(L"orvane-devsim.exe", {L"--usb", L"--quiet", L"1", L"--interrupt", L"7",
                                                     L"--interrupt-delay", L"300", L"--unplug-config",
                                                     L"--seconds", L"60"}));
    ASSERT_EQ(devsim.WaitForLine("usb configuration function at "),
              std::string("usb configuration function at ") + kConfigPath + " (web site)")
        << devsim.Errors();
    const std::string path = kConfigPath;
    HANDLE device = CreateFileW(std::wstring(path.begin(), path.end()).c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                                nullptr, OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
    ASSERT_NE(device, INVALID_HANDLE_VALUE) << GetLastError();

    const Answer quiet = AskForInterrupt(device);
    EXPECT_TRUE(quiet.ok) << quiet.error;
    EXPECT_EQ(quiet.count, 0U) << "no interrupt: no bytes";

    const Answer raised = AskForInterrupt(device);
    EXPECT_TRUE(raised.ok) << raised.error;
    EXPECT_EQ(raised.count, 8U);
    EXPECT_EQ(raised.bytes[0], 7);
    EXPECT_GE(raised.waitedMs, 250U) << "held until the device answered";
    EXPECT_EQ(devsim.WaitForLine("usb interrupt "), "usb interrupt 7 raised");

    const Answer unplugged = AskForInterrupt(device);
    EXPECT_FALSE(unplugged.ok);
    EXPECT_EQ(unplugged.error, static_cast<DWORD>(ERROR_DEVICE_NOT_CONNECTED));
    EXPECT_EQ(devsim.WaitForLine("usb configuration function unplugged"), "usb configuration function unplugged");
    CloseHandle(device);
    devsim.Terminate();
}

TEST(DevsimUsb, TheInterruptRequestOnThePrintFunctionIsRefused)
{
    ChildProcess devsim;
    ASSERT_TRUE(devsim.Start(L"orvane-devsim.exe", {L"--usb", L"--interrupt", L"1", L"--seconds", L"60"}));
    ASSERT_NE(devsim.WaitForLine("usb configuration function at "), "") << devsim.Errors();
    HANDLE device = CreateFileW(L"\\\\?\\usb#vid_1234&pid_5678#zq0001#{28d78fad-5a12-11d1-ae5b-0000f803a8c2}",
                                GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
    ASSERT_NE(device, INVALID_HANDLE_VALUE) << GetLastError();
    const Answer answer = AskForInterrupt(device);
    EXPECT_FALSE(answer.ok);
    EXPECT_EQ(answer.error, static_cast<DWORD>(ERROR_INVALID_FUNCTION));
    CloseHandle(device);
    devsim.Terminate();
}

TEST(DevsimUsb, AnInterruptCodeOutsideOneTo255IsRefused)
{
    const toolstest::RunResult run = toolstest::RunTool(L"orvane-devsim.exe", {L"--usb", L"--interrupt", L"256"});
    EXPECT_EQ(run.exitCode, 2);
    ASSERT_FALSE(run.err.empty());
    EXPECT_EQ(run.err[0], "orvane-devsim: an interrupt code is 1 to 255: 256");
}

}  // namespace
