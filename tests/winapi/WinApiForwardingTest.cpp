#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <winspool.h>

#include <string>
#include <thread>

#include "doubles/ApiOverride.h"
#include "logging/CLogSettingsReader.h"
#include "winapi/CComApi.h"
#include "winapi/CCryptApi.h"
#include "winapi/CIPHelperApi.h"
#include "winapi/CKernelApi.h"
#include "winapi/CLateBoundProcT.h"
#include "winapi/CLazyLibrary.h"
#include "winapi/CRegistryApi.h"
#include "winapi/CSetupApi.h"
#include "winapi/CShellApi.h"
#include "winapi/CSpoolerApi.h"
#include "winapi/CUserApi.h"
#include "winapi/CWinInetApi.h"
#include "winapi/CWinSockApi.h"

using namespace QVWinApi;
using ::testing::_;
using ::testing::Return;
using ::testing::StrEq;

namespace {

constexpr DWORD kCallNotImplemented = 120;

// A key's value read the way the library's logic reads the registry.
LSTATUS ReadDword(const wchar_t* subKey, const wchar_t* name, DWORD& value)
{
    HKEY key = nullptr;
    LSTATUS status = g_pRegistryApi->RegOpenKeyExW(HKEY_CURRENT_USER, subKey, 0, KEY_READ, &key);
    if (status != ERROR_SUCCESS) {
        return status;
    }
    DWORD size = sizeof value;
    status = g_pRegistryApi->RegQueryValueExW(key, name, nullptr, nullptr,
                                              reinterpret_cast<BYTE*>(&value), &size);
    g_pRegistryApi->RegCloseKey(key);
    return status;
}

class MockRegistryApi : public CRegistryApi {
public:
    MOCK_METHOD(LSTATUS, RegOpenKeyExW, (HKEY, LPCWSTR, DWORD, REGSAM, PHKEY), (override));
};

}  // namespace

TEST(WinApiTest, EachPointerHoldsItsConcreteClass)
{
    EXPECT_NE(dynamic_cast<CKernelApi*>(g_pKernelApi), nullptr);
    EXPECT_NE(dynamic_cast<CRegistryApi*>(g_pRegistryApi), nullptr);
    EXPECT_NE(dynamic_cast<CSpoolerApi*>(g_pSpoolerApi), nullptr);
    EXPECT_NE(dynamic_cast<CSetupApi*>(g_pSetupApi), nullptr);
    EXPECT_NE(dynamic_cast<CWinSockApi*>(g_pWinSockApi), nullptr);
    EXPECT_NE(dynamic_cast<CCryptApi*>(g_pCryptApi), nullptr);
    EXPECT_NE(dynamic_cast<CShellApi*>(g_pShellApi), nullptr);
    EXPECT_NE(dynamic_cast<CUserApi*>(g_pUserApi), nullptr);
    EXPECT_NE(dynamic_cast<CIPHelperApi*>(g_pIPHelperApi), nullptr);
    EXPECT_NE(dynamic_cast<CWinInetApi*>(g_pWinInetApi), nullptr);
    EXPECT_NE(dynamic_cast<CComApi*>(g_pComApi), nullptr);
}

TEST(WinApiTest, LateBoundGetProcessIdGivesTheRealValue)
{
    EXPECT_EQ(g_pKernelApi->GetProcessId(::GetCurrentProcess()), ::GetCurrentProcessId());
    EXPECT_EQ(g_pKernelApi->GetProcessId(::GetCurrentProcess()), ::GetCurrentProcessId());
}

TEST(WinApiTest, LateBoundGetProductInfoAndGetUserGeoIdGiveTheRealValues)
{
    DWORD expected = 0;
    const BOOL expectedResult = ::GetProductInfo(6, 1, 0, 0, &expected);
    DWORD actual = 0;
    EXPECT_EQ(g_pKernelApi->GetProductInfo(6, 1, 0, 0, &actual), expectedResult);
    EXPECT_EQ(actual, expected);
    EXPECT_EQ(g_pKernelApi->GetUserGeoID(GEOCLASS_NATION), ::GetUserGeoID(GEOCLASS_NATION));
}

TEST(WinApiTest, LateBoundFunctionMissingFromThePlatformGivesZeroWithError120)
{
    CLateBoundProcT<DWORD WINAPI(HANDLE)> missing("OrvaneNoSuchFunction");
    const HMODULE kernel32 = ::GetModuleHandleW(L"kernel32.dll");
    for (int call = 0; call < 2; ++call) {
        ::SetLastError(0);
        EXPECT_EQ(missing.Call(kernel32, ::GetCurrentProcess()), 0u);
        EXPECT_EQ(::GetLastError(), kCallNotImplemented);
    }
}

TEST(WinApiTest, LateBoundFunctionWithoutModuleGivesZeroWithError120)
{
    CLazyLibrary absent(L"orvane-no-such-library.dll");
    EXPECT_EQ(absent.Get(), nullptr);
    CLateBoundProcT<DWORD WINAPI(HANDLE)> getProcessId("GetProcessId");
    ::SetLastError(0);
    EXPECT_EQ(getProcessId.Call(absent.Get(), ::GetCurrentProcess()), 0u);
    EXPECT_EQ(::GetLastError(), kCallNotImplemented);
}

TEST(WinApiTest, LazyLibraryLoadsOnceAndKeepsTheHandle)
{
    CLazyLibrary library(L"winspool.drv");
    const HMODULE first = library.Get();
    EXPECT_EQ(first, ::GetModuleHandleW(L"winspool.drv"));
    EXPECT_EQ(library.Get(), first);
}

TEST(WinApiTest, SpoolerOrdinals203And204AreGetAndSetDefaultPrinter)
{
    const HMODULE winspool = ::GetModuleHandleW(L"winspool.drv");
    ASSERT_NE(winspool, nullptr);
    EXPECT_EQ(::GetProcAddress(winspool, MAKEINTRESOURCEA(203)),
              ::GetProcAddress(winspool, "GetDefaultPrinterW"));
    EXPECT_EQ(::GetProcAddress(winspool, MAKEINTRESOURCEA(204)),
              ::GetProcAddress(winspool, "SetDefaultPrinterW"));
}

TEST(WinApiTest, SpoolerGetDefaultPrinterByOrdinalAnswersAsTheNamedFunction)
{
    wchar_t expectedName[256] = {};
    DWORD expectedSize = 256;
    ::SetLastError(0);
    const BOOL expected = ::GetDefaultPrinterW(expectedName, &expectedSize);
    const DWORD expectedError = ::GetLastError();

    wchar_t name[256] = {};
    DWORD size = 256;
    ::SetLastError(0);
    EXPECT_EQ(g_pSpoolerApi->GetDefaultPrinterW(name, &size), expected);
    EXPECT_EQ(::GetLastError(), expectedError);
    EXPECT_EQ(size, expectedSize);
    EXPECT_STREQ(name, expectedName);
}

TEST(WinApiTest, SpoolerSetDefaultPrinterByOrdinalRefusesAnUnknownQueue)
{
    ::SetLastError(0);
    const BOOL expected = ::SetDefaultPrinterW(L"Orvane No Such Queue");
    const DWORD expectedError = ::GetLastError();
    ::SetLastError(0);
    EXPECT_EQ(g_pSpoolerApi->SetDefaultPrinterW(L"Orvane No Such Queue"), expected);
    EXPECT_EQ(expected, FALSE);
    EXPECT_EQ(::GetLastError(), expectedError);
}

TEST(WinApiTest, RegistryDoubleIsSeenByTheCallerAndTheRealApiIsBackAfterwards)
{
    IRegistryApi* const real = g_pRegistryApi;
    HKEY key = nullptr;
    ASSERT_EQ(::RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Orvane\\SeamTest", 0, nullptr, 0,
                                KEY_WRITE, nullptr, &key, nullptr), ERROR_SUCCESS);
    const DWORD stored = 4711;
    ::RegSetValueExW(key, L"Value", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&stored), sizeof stored);
    ::RegCloseKey(key);

    DWORD value = 0;
    {
        MockRegistryApi mock;
        doubles::ApiOverride<IRegistryApi> swap(g_pRegistryApi, mock);
        EXPECT_CALL(mock, RegOpenKeyExW(HKEY_CURRENT_USER, StrEq(L"Software\\Orvane\\SeamTest"), 0u,
                                        static_cast<REGSAM>(KEY_READ), _))
            .WillOnce(Return(ERROR_ACCESS_DENIED));
        EXPECT_EQ(g_pRegistryApi, &mock);
        EXPECT_EQ(ReadDword(L"Software\\Orvane\\SeamTest", L"Value", value), ERROR_ACCESS_DENIED);
        EXPECT_EQ(value, 0u);
    }
    EXPECT_EQ(g_pRegistryApi, real);
    EXPECT_EQ(ReadDword(L"Software\\Orvane\\SeamTest", L"Value", value), ERROR_SUCCESS);
    EXPECT_EQ(value, 4711u);
    ::RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\Orvane\\SeamTest");
}

// The library's own code, here the log settings reader, reads through the
// swapped object: a poll time that only the double holds is the one it sees.
TEST(WinApiTest, RegistryDoubleIsSeenByLibraryCodeAndTheRegistryIsBackAfterwards)
{
    struct PollTimeDouble : CRegistryApi {
        LSTATUS RegQueryValueExW(HKEY, LPCWSTR name, LPDWORD, LPDWORD type, LPBYTE data,
                                 LPDWORD size) override
        {
            queried = name;
            *type = REG_DWORD;
            *reinterpret_cast<DWORD*>(data) = 7;
            *size = sizeof(DWORD);
            return ERROR_SUCCESS;
        }
        std::wstring queried;
    } registry;
    HKEY key = nullptr;
    ASSERT_EQ(::RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Orvane\\SeamTest", 0, nullptr, 0,
                                KEY_ALL_ACCESS, nullptr, &key, nullptr), ERROR_SUCCESS);
    const DWORD stored = 12;
    ::RegSetValueExW(key, L"LogParmsPollTime", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&stored),
                     sizeof stored);
    {
        doubles::ApiOverride<IRegistryApi> swap(g_pRegistryApi, registry);
        EXPECT_EQ(QVLogging::CLogSettingsReader::ReadPollMs(key), 7000u);
        EXPECT_EQ(registry.queried, L"LogParmsPollTime");
    }
    EXPECT_EQ(QVLogging::CLogSettingsReader::ReadPollMs(key), 12000u);
    ::RegCloseKey(key);
    ::RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\Orvane\\SeamTest");
}

TEST(WinApiTest, KernelDoubleOverridesOneOperationAndLeavesTheOthersOnThePlatform)
{
    struct FixedTicks : CKernelApi {
        DWORD GetTickCount() override { return 123456; }
    } fixed;
    IKernelApi* const real = g_pKernelApi;
    {
        doubles::ApiOverride<IKernelApi> swap(g_pKernelApi, fixed);
        EXPECT_EQ(g_pKernelApi->GetTickCount(), 123456u);
        EXPECT_EQ(g_pKernelApi->GetCurrentProcessId(), ::GetCurrentProcessId());
    }
    EXPECT_EQ(g_pKernelApi, real);
}

TEST(WinApiTest, WinInetSessionConnectionAndRequestAreMadeAndClosedWithoutTheNetwork)
{
    HINTERNET session = g_pWinInetApi->InternetOpenW(L"ZQ", INTERNET_OPEN_TYPE_DIRECT, nullptr,
                                                     nullptr, 0);
    ASSERT_NE(nullptr, session);
    HINTERNET connection = g_pWinInetApi->InternetConnectW(session, L"192.0.2.7", 443, nullptr,
                                                           nullptr, INTERNET_SERVICE_HTTP, 0, 0);
    ASSERT_NE(nullptr, connection);
    HINTERNET request = g_pWinInetApi->HttpOpenRequestW(connection, L"GET", L"/", nullptr,
                                                        nullptr, nullptr, INTERNET_FLAG_SECURE, 1);
    ASSERT_NE(nullptr, request);
    DWORD flags = 0;
    DWORD size = sizeof(flags);
    EXPECT_TRUE(g_pWinInetApi->InternetQueryOptionW(request, INTERNET_OPTION_SECURITY_FLAGS,
                                                    &flags, &size));
    flags |= SECURITY_FLAG_IGNORE_UNKNOWN_CA;
    EXPECT_TRUE(g_pWinInetApi->InternetSetOptionW(request, INTERNET_OPTION_SECURITY_FLAGS,
                                                  &flags, sizeof(flags)));
    flags = 0;
    EXPECT_TRUE(g_pWinInetApi->InternetQueryOptionW(request, INTERNET_OPTION_SECURITY_FLAGS,
                                                    &flags, &size));
    EXPECT_EQ(static_cast<DWORD>(SECURITY_FLAG_IGNORE_UNKNOWN_CA),
              flags & SECURITY_FLAG_IGNORE_UNKNOWN_CA);
    EXPECT_TRUE(g_pWinInetApi->HttpAddRequestHeadersW(request, L"X-Test: 1\r\n", ~0UL,
                                                      HTTP_ADDREQ_FLAG_COALESCE));
    EXPECT_TRUE(g_pWinInetApi->InternetCloseHandle(request));
    EXPECT_TRUE(g_pWinInetApi->InternetCloseHandle(connection));
    EXPECT_TRUE(g_pWinInetApi->InternetCloseHandle(session));
}

TEST(WinApiTest, DesktopWindowOfTheCertificateDialogIsThePlatformsOwn)
{
    EXPECT_EQ(::GetDesktopWindow(), g_pWinInetApi->GetDesktopWindow());
    EXPECT_NE(nullptr, g_pWinInetApi->GetDesktopWindow());
}

// CoInitialize enters a single-threaded apartment: a second call counts, and
// a multithreaded one no longer fits. On a thread of its own, so that the
// apartment of the other tests' thread stays as it was.
TEST(WinApiTest, ComApiCoInitializeEntersASingleThreadedApartment)
{
    HRESULT first = E_FAIL;
    HRESULT second = E_FAIL;
    HRESULT other = E_FAIL;
    std::thread([&] {
        first = g_pComApi->CoInitialize(nullptr);
        second = g_pComApi->CoInitialize(nullptr);
        other = g_pComApi->CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        g_pComApi->CoUninitialize();
        g_pComApi->CoUninitialize();
    }).join();
    EXPECT_EQ(S_OK, first);
    EXPECT_EQ(S_FALSE, second);
    EXPECT_EQ(RPC_E_CHANGED_MODE, other);
}

TEST(WinApiTest, ComApiReachesTheComponentModel)
{
    ASSERT_EQ(g_pComApi->CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    EXPECT_EQ(g_pComApi->CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), RPC_E_CHANGED_MODE);
    // A class no prefix registers.
    const CLSID absent = {0x0bad0bad, 0x1234, 0x5678, {1, 2, 3, 4, 5, 6, 7, 8}};
    void* object = nullptr;
    EXPECT_EQ(g_pComApi->CoCreateInstance(absent, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, &object),
              REGDB_E_CLASSNOTREG);
    wchar_t text[40] = {};
    EXPECT_EQ(g_pComApi->StringFromGUID2(absent, text, 40), 39);
    EXPECT_STREQ(text, L"{0BAD0BAD-1234-5678-0102-030405060708}");
    HANDLE event = ::CreateEventW(nullptr, TRUE, TRUE, nullptr);
    DWORD index = 9;
    EXPECT_EQ(g_pComApi->CoWaitForMultipleHandles(0, 0, 1, &event, &index), S_OK);
    EXPECT_EQ(index, 0u);
    ::ResetEvent(event);
    EXPECT_EQ(g_pComApi->CoWaitForMultipleHandles(0, 0, 1, &event, &index), RPC_S_CALLPENDING);
    ::CloseHandle(event);
    PROPVARIANT value;
    ::PropVariantInit(&value);
    value.vt = VT_LPWSTR;
    value.pwszVal = static_cast<LPWSTR>(::CoTaskMemAlloc(8));
    EXPECT_EQ(g_pComApi->PropVariantClear(&value), S_OK);
    EXPECT_EQ(value.vt, VT_EMPTY);
    g_pComApi->CoTaskMemFree(::CoTaskMemAlloc(16));
    CLSID parsed = {};
    EXPECT_EQ(g_pComApi->CLSIDFromString(L"{0BAD0BAD-1234-5678-0102-030405060708}", &parsed), S_OK);
    EXPECT_TRUE(::IsEqualGUID(parsed, absent));
    EXPECT_NE(g_pComApi->CLSIDFromString(L"{not a class}", &parsed), S_OK);
    BSTR bstr = g_pComApi->SysAllocString(L"Detach");
    ASSERT_NE(bstr, nullptr);
    EXPECT_EQ(::SysStringLen(bstr), 6u);
    g_pComApi->SysFreeString(bstr);
    g_pComApi->CoUninitialize();
}
