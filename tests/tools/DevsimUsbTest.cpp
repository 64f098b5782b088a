// orvane-devsim --usb plays the virtual USB printer, and orvane send writes
// a job to its print function through the test-only usb-path: target; with
// --config-path its web site answers on the configuration function.
#include <gtest/gtest.h>

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "doubles/TempFolder.h"
#include "tools/ChildProcess.h"

using toolstest::ChildProcess;
using toolstest::RunTool;

namespace {

const char kPrintPath[] = "\\\\?\\usb#vid_1234&pid_5678#zq0001#{28d78fad-5a12-11d1-ae5b-0000f803a8c2}";

std::string ReadFileBytes(const std::wstring& path)
{
    std::ifstream in(std::filesystem::path(path), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

TEST(DevsimUsb, OrvaneSendWritesAJobToTheUsbPrintFunctionAndTheDeviceStoresItByteForByte)
{
    doubles::TempFolder folder(L"orvane-devsim-usb");
    std::string job;
    for (int i = 0; i < 3 * 1024 * 1024 + 17; ++i) {
        job += static_cast<char>((i * 31 + i / 4093) & 0xFF);
    }
    const std::wstring jobFile = folder / L"job.prn";
    std::ofstream(std::filesystem::path(jobFile), std::ios::binary) << job;

    ChildProcess devsim;
    ASSERT_TRUE(devsim.Start(L"orvane-devsim.exe", {L"--usb", L"--jobs", folder / L"jobs", L"--seconds", L"60"}));
    ASSERT_EQ(devsim.WaitForLine("usb print function at "), std::string("usb print function at ") + kPrintPath)
        << devsim.Errors();
    const std::wstring widePath(kPrintPath, kPrintPath + sizeof(kPrintPath) - 1);
    const toolstest::RunResult sent = RunTool(L"orvane.exe", {L"send", L"usb-path:" + widePath, jobFile});
    EXPECT_EQ(sent.exitCode, 0);
    ASSERT_EQ(sent.out.size(), 1U);
    EXPECT_EQ(sent.out[0].rfind("sent 3145745 bytes to usb-path:" + std::string(kPrintPath) + " in ", 0), 0U)
        << sent.out[0];
    EXPECT_EQ(devsim.WaitForLine("usb print function received "),
              "usb print function received 3145745 bytes in all");
    devsim.Terminate();
    EXPECT_EQ(ReadFileBytes(folder / L"jobs\\usb-print.prn"), job);
}

// One overlapped transfer on `device`, waited for at most `ms`; the count.
DWORD Transfer(HANDLE device, bool write, char* buffer, DWORD size, DWORD ms)
{
    OVERLAPPED overlapped{};
    overlapped.hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    DWORD done = 0;
    const BOOL started = write ? WriteFile(device, buffer, size, nullptr, &overlapped)
                               : ReadFile(device, buffer, size, nullptr, &overlapped);
    if (!started && GetLastError() == ERROR_IO_PENDING && WaitForSingleObject(overlapped.hEvent, ms) != WAIT_OBJECT_0) {
        CancelIo(device);
    }
    if (!GetOverlappedResult(device, &overlapped, &done, TRUE)) {
        done = 0;
    }
    CloseHandle(overlapped.hEvent);
    return done;
}

TEST(DevsimUsb, TheWebSiteAnswersARequestWrittenToTheConfigurationFunction)
{
    const char configPath[] = "\\\\?\\usb#vid_1234&pid_5678#zq0001#{a6af917d-48e9-459a-95a1-3b9cd24d91e3}";
    const std::wstring widePath(configPath, configPath + sizeof(configPath) - 1);
    doubles::TempFolder folder(L"orvane-devsim-usb-web");
    ChildProcess devsim;
    ASSERT_TRUE(devsim.Start(L"orvane-devsim.exe",
                             {L"--usb", L"--config-path", widePath, L"--jobs", folder / L"jobs", L"--seconds", L"60"}));
    ASSERT_EQ(devsim.WaitForLine("usb configuration function at "),
              std::string("usb configuration function at ") + configPath + " (web site)")
        << devsim.Errors();
    HANDLE device = CreateFileW(widePath.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                FILE_FLAG_OVERLAPPED, nullptr);
    ASSERT_NE(device, INVALID_HANDLE_VALUE) << GetLastError();
    std::string request = "GET /status HTTP/1.1\r\nHost: usb\r\n\r\n";
    EXPECT_EQ(Transfer(device, true, &request[0], static_cast<DWORD>(request.size()), 10000), request.size());
    // The answer ends with the page's closing tag.
    std::string answer;
    char buffer[4096];
    while (answer.find("</html>\n") == std::string::npos) {
        const DWORD read = Transfer(device, false, buffer, sizeof buffer, 10000);
        if (read == 0) {
            break;
        }
        answer.append(buffer, read);
    }
    CloseHandle(device);
    EXPECT_EQ(answer.rfind("HTTP/1.1 200 OK\r\n", 0), 0U) << answer;
    EXPECT_NE(answer.find("<p>Status: READY</p>"), std::string::npos) << answer;
    EXPECT_EQ(devsim.WaitForLine("usb http "), "usb http GET /status: 200");
    devsim.Terminate();
}

}  // namespace
