// orvane-devsim --usb plays the virtual USB printer, and orvane send writes
// a job to its print function through the test-only usb-path: target.
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

}  // namespace
