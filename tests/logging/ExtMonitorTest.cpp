// The external trace monitor: a component server built beside the tests
// (orvextmon.dll), registered in the prefix's registry and created by Wine's
// component model. It writes each call it gets into its parameter file, and
// the tests compare that with the trace written to the log file.
#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "api/AddressFactory.h"
#include "doubles/ApiOverride.h"
#include "doubles/ModuleLogFile.h"
#include "logging/CExtMonitorSettings.h"
#include "logging/CLogFunction.h"
#include "logging/LogFlags.h"
#include "logging/LogModules.h"
#include "logging/LogTestFixture.h"
#include "peers/LoopbackPeer.h"
#include "winapi/CComApi.h"

using namespace QVLogging;
using logtest::LogModuleTest;
using logtest::ProcessName;

namespace {

const wchar_t kRecording[] = L"{5E1F0B3A-7C2D-4E8F-9A61-0B2C3D4E5F60}";
const wchar_t kFailing[] = L"{5E1F0B3A-7C2D-4E8F-9A61-0B2C3D4E5F61}";
const wchar_t kUnregistered[] = L"{5E1F0B3A-7C2D-4E8F-9A61-0B2C3D4E5F6F}";
constexpr DWORD kEverything = kExtMonitorSendClasses | kExtMonitorSendEntries | kExtMonitorSendExits;

std::wstring BinaryFolder()
{
    const std::wstring path = logtest::ExecutablePath();
    return path.substr(0, path.find_last_of(L'\\') + 1);
}

// The test monitor's two classes in the prefix's registry, for the process.
bool RegisterMonitorClasses()
{
    static const bool registered = [] {
        const std::wstring server = BinaryFolder() + L"orvextmon.dll";
        for (const wchar_t* clsid : {kRecording, kFailing}) {
            HKEY key = nullptr;
            const std::wstring path = std::wstring(L"Software\\Classes\\CLSID\\") + clsid + L"\\InprocServer32";
            if (::RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                                  nullptr)
                != ERROR_SUCCESS) {
                return false;
            }
            static const wchar_t kBoth[] = L"Both";
            ::RegSetValueExW(key, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(server.c_str()),
                             static_cast<DWORD>((server.size() + 1) * sizeof(wchar_t)));
            ::RegSetValueExW(key, L"ThreadingModel", 0, REG_SZ, reinterpret_cast<const BYTE*>(kBoth), sizeof kBoth);
            ::RegCloseKey(key);
        }
        return ::GetFileAttributesW(server.c_str()) != INVALID_FILE_ATTRIBUTES;
    }();
    return registered;
}

// The monitor's record: one line a call.
std::vector<std::string> Record(const std::wstring& file)
{
    std::ifstream in(file.c_str());
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string Narrow(const std::wstring& text)
{
    return std::string(text.begin(), text.end());
}

// Counts the component model's calls; everything reaches Wine's.
class CountingCom : public QVWinApi::CComApi {
public:
    HRESULT CoCreateInstance(REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID riid, LPVOID* ppv) override
    {
        ++creations;
        lastContext = context;
        return QVWinApi::CComApi::CoCreateInstance(clsid, outer, context, riid, ppv);
    }
    BSTR SysAllocString(const OLECHAR* text) override
    {
        ++strings;
        return QVWinApi::CComApi::SysAllocString(text);
    }
    int creations = 0;
    int strings = 0;
    DWORD lastContext = 0;
};

class ExtMonitor : public LogModuleTest {
protected:
    void SetUp() override { ASSERT_TRUE(RegisterMonitorClasses()) << "orvextmon.dll is not beside the test"; }
    void TearDown() override
    {
        // The process keeps its monitor between tests: a class that cannot
        // be made replaces it, which says goodbye to the old one.
        UseMonitor(kUnregistered, 0);
        Poll();
    }

    std::wstring LogFile() const { return m_folder.Path() + L"\\trace.log"; }
    std::wstring RecordFile() const { return m_folder.Path() + L"\\monitor.txt"; }
    void UseMonitor(const std::wstring& clsid, DWORD flags, const std::wstring& recordFile = L"")
    {
        LogTo(LogFile(), kCategoryEntry | kCategoryExit | kCategoryInfo);
        UseMonitorValues(clsid, flags, recordFile.empty() ? RecordFile() : recordFile);
    }
    void UseMonitorValues(const std::wstring& clsid, DWORD flags, const std::wstring& recordFile) const
    {
        m_registry.SetString(ProcessName(), L"ExtMonitorCLSID", clsid);
        m_registry.SetDword(ProcessName(), L"ExtMonitorFlags", flags);
        m_registry.SetString(ProcessName(), L"ExtMonitorParmFile", recordFile);
    }
    // A new module reads the settings at its first line.
    std::unique_ptr<CLogModule> Poll()
    {
        std::unique_ptr<CLogModule> module = MakeModule();
        logtest::LogFormatted(*module, kCategoryInfo, L"poll");
        return module;
    }

    CLogSourceFile source{L".\\ExtMonitorTest.cpp"};
};

}  // namespace

TEST_F(ExtMonitor, ToldOfClassChangesEntriesAndExitsOnce)
{
    UseMonitor(kRecording, kEverything);
    const auto module = Poll();
    {
        CLogFunction outer(module.get(), &source, L"QVTest::COuter::Run", 10);
        {
            CLogFunction inner(module.get(), &source, L"QVTest::CInner::Step", 20);
        }
        {
            // The same class again: no class change is sent.
            CLogFunction again(module.get(), &source, L"QVTest::CInner::Again", 30);
        }
        CLogFunction plain(module.get(), &source, L"FreeFunction", 40);
    }
    EXPECT_EQ(Record(RecordFile()), (std::vector<std::string>{
                                        "SetParameterFile " + Narrow(RecordFile()),
                                        "ClassChanged COuter",
                                        "FunctionEntered COuter::Run",
                                        "ClassChanged CInner",
                                        "FunctionEntered CInner::Step",
                                        "FunctionExited CInner::Step",
                                        "FunctionEntered CInner::Again",
                                        "FunctionExited CInner::Again",
                                        "ClassChanged <unknown>",
                                        "FunctionEntered FreeFunction",
                                        "FunctionExited FreeFunction",
                                        "FunctionExited COuter::Run",
                                    }));
}

TEST_F(ExtMonitor, FlagsChooseWhatIsSent)
{
    UseMonitor(kRecording, kExtMonitorSendExits);
    const auto module = Poll();
    {
        CLogFunction scope(module.get(), &source, L"QVTest::COnly::Exits", 10);
    }
    EXPECT_EQ(Record(RecordFile()), (std::vector<std::string>{"SetParameterFile " + Narrow(RecordFile()),
                                                               "FunctionExited COnly::Exits"}));
}

// A stream write to a loopback device, traced by the library's own modules:
// every entry and exit line of the log reaches the monitor, in order.
TEST_F(ExtMonitor, MonitorFollowsTheTraceOfAStreamWrite)
{
    peers::LoopbackPeer peer(peers::LoopbackPeer::Echo, peers::LoopbackPeer::PortChoice::StreamRange);
    std::vector<std::wstring> trace;
    {
        doubles::ModuleLogFile log({g_pOrvaneAPILog, g_pUtilsLog, g_pIONetworkLog, g_pIOCommonLog}, L"ext-monitor-stream");
        // The log file's settings replaced the logging key: the monitor's
        // values go in again, and the modules read them.
        UseMonitorValues(kRecording, kExtMonitorSendEntries | kExtMonitorSendExits, RecordFile());
        log.Reread();
        Orvane::Address* address = Orvane::AddressFactory::CreateFromIPAddress(L"127.0.0.1");
        ASSERT_NE(address, nullptr);
        Orvane::Stream* stream = nullptr;
        ASSERT_EQ(address->CreateStream(peer.Port(), &stream), 0u);
        unsigned long written = 0;
        EXPECT_EQ(stream->Write("job", 3, &written), 0u);
        stream->Dispose();
        address->Dispose();
        trace = log.Lines();
    }
    std::vector<std::string> expected = {"SetParameterFile " + Narrow(RecordFile())};
    for (const std::wstring& line : trace) {
        if (line.rfind(L"(->) ", 0) == 0) {
            // The monitor gets the name without the entry line's parameters.
            expected.push_back("FunctionEntered " + Narrow(line.substr(5, line.find(L", ") - 5)));
        } else if (line.rfind(L"(<-) ", 0) == 0) {
            expected.push_back("FunctionExited " + Narrow(line.substr(5)));
        }
    }
    ASSERT_GT(expected.size(), 10u);
    EXPECT_NE(std::find(expected.begin(), expected.end(), "FunctionEntered QVStream::Write"), expected.end());
    EXPECT_EQ(Record(RecordFile()), expected);
}

TEST_F(ExtMonitor, ModulesOfTheProcessShareOneMonitorInOneBlock)
{
    UseMonitor(kRecording, kExtMonitorSendEntries);
    CountingCom com;
    doubles::ApiOverride<QVWinApi::IComApi> swap(g_pComApi, com);
    const auto first = Poll();
    const auto second = Poll();
    {
        CLogFunction a(first.get(), &source, L"QVTest::CFirst::Call", 10);
        CLogFunction b(second.get(), &source, L"QVTest::CSecond::Call", 20);
    }
    EXPECT_EQ(com.creations, 1);
    EXPECT_EQ(com.lastContext, 23u);
    EXPECT_EQ(Record(RecordFile()), (std::vector<std::string>{"SetParameterFile " + Narrow(RecordFile()),
                                                               "FunctionEntered CFirst::Call",
                                                               "FunctionEntered CSecond::Call"}));
    // One block for the process: the library's ten modules and these two.
    const std::wstring name = L"logging_tests[" + std::to_wstring(::GetCurrentProcessId()) + L"]ExtMonitorMappedFile";
    const HANDLE mapping = ::OpenFileMappingW(FILE_MAP_READ, FALSE, name.c_str());
    ASSERT_NE(mapping, nullptr) << "no section " << Narrow(name);
    const auto* block = static_cast<const CExtMonitorSettings*>(::MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->m_attachCount, 12u);
    ::UnmapViewOfFile(block);
    ::CloseHandle(mapping);
}

TEST_F(ExtMonitor, WithoutAClassIdTheBlockStaysInertAndTheTraceCallsNothing)
{
    LogTo(LogFile(), kCategoryEntry | kCategoryExit);
    CountingCom com;
    doubles::ApiOverride<QVWinApi::IComApi> swap(g_pComApi, com);
    const auto module = Poll();
    {
        CLogFunction scope(module.get(), &source, L"QVTest::CQuiet::Call", 10);
    }
    EXPECT_EQ(com.creations, 0);
    EXPECT_EQ(com.strings, 0);
    EXPECT_EQ(logtest::ReadLog(LogFile()), L"(->) CQuiet::Call\r\n(<-) CQuiet::Call\r\n");
}

TEST_F(ExtMonitor, ChangedClassIdTakesEffectAtTheNextPollAndReleasesTheOldMonitor)
{
    const std::wstring firstRecord = m_folder.Path() + L"\\first.txt";
    UseMonitor(kRecording, kExtMonitorSendEntries, firstRecord);
    const auto before = Poll();
    {
        CLogFunction scope(before.get(), &source, L"QVTest::CBefore::Call", 10);
    }
    UseMonitor(kFailing, kExtMonitorSendEntries);
    {
        // Settings are read again only at the next poll.
        CLogFunction scope(before.get(), &source, L"QVTest::CStill::Call", 20);
    }
    const auto after = Poll();
    {
        CLogFunction scope(after.get(), &source, L"QVTest::CAfter::Call", 30);
    }
    EXPECT_EQ(Record(firstRecord), (std::vector<std::string>{"SetParameterFile " + Narrow(firstRecord),
                                                              "FunctionEntered CBefore::Call",
                                                              "FunctionEntered CStill::Call",
                                                              "Detach " + Narrow(ProcessName()), "Released"}));
    EXPECT_EQ(Record(RecordFile()), (std::vector<std::string>{"SetParameterFile " + Narrow(RecordFile()),
                                                               "FunctionEntered CAfter::Call"}));
}

TEST_F(ExtMonitor, MonitorThatFailsEveryCallLeavesTheLogFileWorking)
{
    UseMonitor(kFailing, kEverything);
    const auto module = Poll();
    {
        CLogFunction scope(module.get(), &source, L"QVTest::CFailing::Call", 10);
    }
    EXPECT_EQ(Record(RecordFile()).size(), 4u);
    EXPECT_EQ(logtest::ReadLog(LogFile()), L"(I0) poll\r\n(->) CFailing::Call\r\n(<-) CFailing::Call\r\n");
}

TEST_F(ExtMonitor, ClassIdThatIsNoClassOrNotRegisteredLeavesTheLogFileWorking)
{
    for (const wchar_t* clsid : {L"{not a class id}", kUnregistered}) {
        UseMonitor(clsid, kEverything);
        const auto module = Poll();
        {
            CLogFunction scope(module.get(), &source, L"QVTest::CAlone::Call", 10);
        }
    }
    EXPECT_TRUE(Record(RecordFile()).empty());
    EXPECT_EQ(logtest::ReadLog(LogFile()),
              L"(I0) poll\r\n(->) CAlone::Call\r\n(<-) CAlone::Call\r\n(I0) poll\r\n(->) CAlone::Call\r\n(<-) CAlone::Call\r\n");
}

// Another process has a block and a monitor of its own: orvane.exe, which
// traces its resolver into the monitor named in its own process key.
TEST_F(ExtMonitor, SecondProcessGetsItsOwnMonitor)
{
    UseMonitor(kRecording, kExtMonitorSendEntries);
    const std::wstring childRecord = m_folder.Path() + L"\\child.txt";
    m_registry.SetString(L"orvane.exe", L"ExtMonitorCLSID", kRecording);
    m_registry.SetDword(L"orvane.exe", L"ExtMonitorFlags", kExtMonitorSendEntries);
    m_registry.SetString(L"orvane.exe", L"ExtMonitorParmFile", childRecord);
    const auto module = Poll();
    {
        CLogFunction scope(module.get(), &source, L"QVTest::CParent::Call", 10);
    }
    STARTUPINFOW startup = {sizeof startup};
    PROCESS_INFORMATION child = {};
    std::wstring command = L"\"" + BinaryFolder() + L"orvane.exe\" resolve --port NO_SUCH_PORT";
    ASSERT_TRUE(::CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr, nullptr,
                                 &startup, &child));
    ASSERT_EQ(::WaitForSingleObject(child.hProcess, 20000), WAIT_OBJECT_0);
    ::CloseHandle(child.hThread);
    ::CloseHandle(child.hProcess);
    const std::vector<std::string> parent = Record(RecordFile());
    const std::vector<std::string> own = Record(childRecord);
    EXPECT_EQ(parent, (std::vector<std::string>{"SetParameterFile " + Narrow(RecordFile()),
                                                 "FunctionEntered CParent::Call"}));
    ASSERT_FALSE(own.empty());
    EXPECT_EQ(own[0], "SetParameterFile " + Narrow(childRecord));
    EXPECT_NE(std::find(own.begin(), own.end(), "FunctionEntered Resolver::Resolve"), own.end());
}
