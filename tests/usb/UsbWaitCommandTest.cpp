// orvane wait on a USB device of the tree, named by its port: the device's
// interrupts, raised here, reach the command's lines as they come. The
// command runs in this program, whose process describes the device tree;
// its standard output goes to a file for the time.
#include <gtest/gtest.h>

#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "UsbFixture.h"
#include "api/USBDeviceManager.h"
#include "doubles/TempFolder.h"
#include "orvane/CommandRegistry.h"

using namespace QVDeviceManager;

namespace usb_test {

namespace {

constexpr int kConfig = USBPRINTER_FUNCTION_CONFIG;

// Standard output into a file while the object lives.
class CapturedOutput {
public:
    explicit CapturedOutput(const std::wstring& file) : m_file(file)
    {
        std::fflush(stdout);
        m_saved = _dup(_fileno(stdout));
        const int fd = _wopen(file.c_str(), _O_WRONLY | _O_CREAT | _O_TRUNC | _O_BINARY, 0644);
        _dup2(fd, _fileno(stdout));
        _close(fd);
    }
    ~CapturedOutput() { Restore(); }
    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;
    void Restore()
    {
        if (m_saved >= 0) {
            std::fflush(stdout);
            _dup2(m_saved, _fileno(stdout));
            _close(m_saved);
            m_saved = -1;
        }
    }
    std::string Text() const
    {
        std::ifstream in(std::filesystem::path(m_file), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }

private:
    std::wstring m_file;
    int m_saved = -1;
};

class UsbWaitCommand : public UsbFixture {
protected:
    void SetUp() override
    {
        UsbFixture::SetUp();
        Orvane::USBDeviceManager manager;
        IDevice* device = manager.OpenUSBDeviceByPort(kRestSerial);
        ASSERT_NE(device, nullptr);
        IDeviceFunction* function = nullptr;
        ASSERT_EQ(device->GetFunction(FUNCTION_TYPE_CONFIG, &function), 0UL);
        const std::wstring path = function->GetAddress();
        manager.CloseDevice(device);
        ASSERT_TRUE(Printer().Plug(kConfig, path));
    }
    static int Run(const std::vector<std::wstring>& arguments)
    {
        return tools::CommandRegistry::Instance().Find(L"wait")->Run(arguments);
    }
    // Waits for the command's next control request, and answers it.
    static bool RaiseWhenAsked(size_t asked, unsigned char code)
    {
        if (!Printer().WaitFor([asked] { return Printer().ControlSizes(kConfig).size() > asked; }, 30000)) {
            return false;
        }
        Printer().AnswerControl(kConfig, {code, 0, 0, 0, 0, 0, 0, 0});
        return true;
    }
};

TEST_F(UsbWaitCommand, PrintsEachInterruptOfTheDeviceAsItComes)
{
    doubles::TempFolder folder(L"orvane-wait");
    CapturedOutput output(folder / L"out.txt");
    int result = -1;
    std::thread wait([&] { result = Run({L"--port", L"USB033", L"--count", L"2", L"--timeout", L"60"}); });
    const bool first = RaiseWhenAsked(0, 1);
    const bool second = first && RaiseWhenAsked(1, 2);
    wait.join();
    output.Restore();
    EXPECT_TRUE(first);
    EXPECT_TRUE(second);
    EXPECT_EQ(result, 0);
    const std::string text = output.Text();
    EXPECT_EQ(text.find("interrupt 1 from port 'USB033' after "), 0U) << text;
    EXPECT_NE(text.find("\ninterrupt 2 from port 'USB033' after "), std::string::npos) << text;
    EXPECT_EQ(Printer().ControlSizes(kConfig), (std::vector<unsigned long>{8, 8}));
}

TEST_F(UsbWaitCommand, GivesUpWhenNoInterruptComesInTime)
{
    doubles::TempFolder folder(L"orvane-wait-none");
    CapturedOutput output(folder / L"out.txt");
    const int result = Run({L"--port", L"USB033", L"--timeout", L"1"});
    output.Restore();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(output.Text(), "");
    EXPECT_EQ(Printer().ControlSizes(kConfig).size(), 1U) << "the one request, cancelled at the end";
}

}  // namespace

}  // namespace usb_test
