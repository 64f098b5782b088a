// A WSD device's address through Function Discovery: by the port name a
// plug-and-play instance carries, by the device's identity through the WSD
// provider, and by a queue's port. The component model is Wine's own; the
// discovery objects come from the stand-in registered under Function
// Discovery's class identifier (Wine has none).
#include <gtest/gtest.h>

#include <windows.h>
#include <objbase.h>

#include <string>
#include <vector>

#include "doubles/ApiOverride.h"
#include "doubles/VtableSlots.h"
#include "resolver/CFuncDiscoHelper.h"
#include "resolver/FunctionDiscoveryStandIn.h"
#include "resolver/ResolverTestSupport.h"
#include "resolver/SpoolerQueues.h"
#include "resolver/WSDPortResolver.h"
#include "resolver/WSDResolver.h"
#include "winapi/CComApi.h"

using namespace Orvane;
using namespace resolver_test;

namespace {

const wchar_t kPort[] = L"WSD-6a9e2d8c-2f43-4a55-9d2e-0123456789ab.0007";
const wchar_t kIdentity[] = L"uuid:6a9e2d8c-2f43-4a55-9d2e-0123456789ab";
const wchar_t kPortKeyText[] = L"{F01FAC5D-E5F6-485F-A8C6-27446425998C}";

// A plug-and-play instance behind `port` with a service address.
FakeInstance* PnpInstance(const std::wstring& id, const std::wstring& port, const std::wstring& address)
{
    return new FakeInstance(id, L"", {TextListProperty(kServiceAddress, {address}), TextProperty(kPortKey, port)});
}

// An apartment that cannot be had: a failure no real prefix gives at will.
class NoApartment : public QVWinApi::CComApi {
public:
    HRESULT CoInitializeEx(LPVOID, DWORD) override { return E_OUTOFMEMORY; }
};

class WsdLookup : public resolver_test::LoggedTest {
protected:
    WsdLookup() : LoggedTest(L"wsd-lookup") {}

    DiscoveryScript m_script;
    FunctionDiscoveryStandIn m_standIn{m_script};
    wchar_t m_text[kWsdAddressChars] = {};
};

}  // namespace

TEST_F(WsdLookup, PortNameWithoutWsdPrefixGivesFalseAtOnceWithLastError1796)
{
    ASSERT_TRUE(m_standIn.Ready());
    m_script.pnp = {PnpInstance(L"UUID:1", L"wsd-6a9e2d8c-2f43-4a55-9d2e-0123456789ab.0007", L"http://127.0.0.1/")};
    for (const wchar_t* port : {L"wsd-6a9e2d8c-2f43-4a55-9d2e-0123456789ab.0007", L"USB001", L""}) {
        ::SetLastError(0);
        EXPECT_FALSE(GetIPAddressFromWSDPort(port, m_text, kWsdAddressChars)) << ::testing::PrintToString(port);
        EXPECT_EQ(::GetLastError(), 1796u) << ::testing::PrintToString(port);
        EXPECT_STREQ(m_text, L"");
    }
    EXPECT_EQ(m_script.queries, 0);
}

TEST_F(WsdLookup, NullArgumentsGiveFalseWithLastError87)
{
    ::SetLastError(0);
    EXPECT_FALSE(GetIPAddressFromWSDPort(nullptr, m_text, kWsdAddressChars));
    EXPECT_EQ(::GetLastError(), 87u);
    ::SetLastError(0);
    EXPECT_FALSE(GetIPAddressFromWSDPort(kPort, nullptr, kWsdAddressChars));
    EXPECT_EQ(::GetLastError(), 87u);
    ::SetLastError(0);
    EXPECT_FALSE(GetIPAddressFromDeviceID(nullptr, m_text, kWsdAddressChars));
    EXPECT_EQ(::GetLastError(), 87u);
    ::SetLastError(0);
    EXPECT_FALSE(GetIPAddressFromWSDPrinter(nullptr, m_text, kWsdAddressChars));
    EXPECT_EQ(::GetLastError(), 87u);
}

TEST_F(WsdLookup, IdentityWithoutUuidPrefixGivesFalseWithLastError1705)
{
    ASSERT_TRUE(m_standIn.Ready());
    ::SetLastError(0);
    EXPECT_FALSE(GetIPAddressFromDeviceID(L"urn:6a9e2d8c-2f43-4a55-9d2e-0123456789ab", m_text, kWsdAddressChars));
    EXPECT_EQ(::GetLastError(), 1705u);
    ::SetLastError(0);
    EXPECT_FALSE(GetIPAddressFromDeviceID(L"Uuid:6a9e2d8c", m_text, kWsdAddressChars));
    EXPECT_EQ(::GetLastError(), 1705u);
    // An empty identity is an invalid argument.
    ::SetLastError(0);
    EXPECT_FALSE(GetIPAddressFromDeviceID(L"", m_text, kWsdAddressChars));
    EXPECT_EQ(::GetLastError(), 87u);
    EXPECT_EQ(m_script.queries, 0);
}

TEST_F(WsdLookup, BufferTooSmallGivesFalseWithLastError122)
{
    ASSERT_TRUE(m_standIn.Ready());
    m_script.pnp = {PnpInstance(L"UUID:1", kPort, L"http://127.0.0.1:5357/printer")};
    WSDPortResolver resolver(kPort);
    ::SetLastError(0);
    // 29 characters and the terminator do not fit into 29.
    EXPECT_FALSE(resolver.ResolveToIPAddress(m_text, 29));
    EXPECT_EQ(::GetLastError(), 122u);
    EXPECT_TRUE(resolver.ResolveToIPAddress(m_text, 30));
    EXPECT_STREQ(m_text, L"http://127.0.0.1:5357/printer");
}

TEST_F(WsdLookup, InstanceWhosePortKeyDiffersStopsItsStoreAndTheNextInstanceIsTried)
{
    ASSERT_TRUE(m_standIn.Ready());
    const std::wstring other = L"WSD-11111111-2222-3333-4444-555555555555.0001";
    m_script.pnp = {
        PnpInstance(L"UUID:first", kPort, L"http://127.0.0.2:5357/right"),
        // Tried first (instances go from the last): its port key, read
        // before its address, names another port.
        PnpInstance(L"UUID:second", other, L"http://127.0.0.3:5357/wrong"),
    };
    EXPECT_TRUE(GetIPAddressFromWSDPort(kPort, m_text, kWsdAddressChars));
    EXPECT_STREQ(m_text, L"http://127.0.0.2:5357/right");
    Logged({L"(I0) Search Node Instance: UUID:SECOND", std::wstring(L"(I0) ") + kPortKeyText + L" key.pid=2",
            L"(I0) PortGuid (" + other + L") =?= (" + kPort + L")", L"(I0) Search Node Instance: UUID:FIRST",
            std::wstring(L"(I0) ") + kPortKeyText + L" key.pid=2",
            L"(I0) PortGuid (" + std::wstring(kPort) + L") =?= (" + kPort + L")", L"(I0) Matching GUID",
            L"(I0) {656A3BB3-ECC0-43FD-8477-4AE0404A96CD} key.pid=16384",
            L"(I0) element: http://127.0.0.2:5357/right", L"(I0) Found IPAddress: http://127.0.0.2:5357/right"});
    EXPECT_EQ(m_log.Count(L"(I0) element: http://127.0.0.3:5357/wrong"), 0u);
    EXPECT_EQ(m_script.category, L"Provider\\Microsoft.Base.PnP");
    EXPECT_FALSE(m_script.hadSink);
}

TEST_F(WsdLookup, OnlyInstancesWithUmbOrUuidInTheirIdentityAreSearched)
{
    ASSERT_TRUE(m_standIn.Ready());
    m_script.pnp = {PnpInstance(L"umb\\umb\\1&2", kPort, L"http://127.0.0.4/"),
                    PnpInstance(L"SWD\\PRINTENUM\\3", kPort, L"http://127.0.0.5/")};
    EXPECT_TRUE(GetIPAddressFromWSDPort(kPort, m_text, kWsdAddressChars));
    EXPECT_STREQ(m_text, L"http://127.0.0.4/");
    Logged({L"(I0) Search Node Instance: SWD\\PRINTENUM\\3", L"(I0) Search Node Instance: UMB\\UMB\\1&2"});
    EXPECT_EQ(m_log.Count(L"(I0) element: http://127.0.0.5/"), 0u);
}

TEST_F(WsdLookup, EachCallSearchesAnew)
{
    ASSERT_TRUE(m_standIn.Ready());
    m_script.pnp = {PnpInstance(L"UUID:1", kPort, L"http://127.0.0.6/")};
    WSDPortResolver resolver(kPort);
    ASSERT_TRUE(resolver.ResolveToIPAddress(m_text, kWsdAddressChars));
    m_script.pnp.back()->Release();
    m_script.pnp.clear();
    EXPECT_FALSE(resolver.ResolveToIPAddress(m_text, kWsdAddressChars));
    EXPECT_EQ(m_script.queries, 2);
}

TEST_F(WsdLookup, PendingExecuteCountsAsSuccess)
{
    ASSERT_TRUE(m_standIn.Ready());
    m_script.pnp = {PnpInstance(L"UUID:1", kPort, L"http://127.0.0.7/")};
    m_script.executeResult = E_PENDING;
    EXPECT_TRUE(GetIPAddressFromWSDPort(kPort, m_text, kWsdAddressChars));
    EXPECT_STREQ(m_text, L"http://127.0.0.7/");
}

TEST_F(WsdLookup, WithoutFunctionDiscoveryOnTheSystemGivesFalse)
{
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, FunctionDiscoveryStandIn::kClassKey);
    EXPECT_FALSE(GetIPAddressFromWSDPort(kPort, m_text, kWsdAddressChars));
    EXPECT_FALSE(GetIPAddressFromWSDPrinter(L"no such queue", m_text, kWsdAddressChars));
    EXPECT_STREQ(m_text, L"");
}

TEST_F(WsdLookup, ThreadInAnotherApartmentKeepsItAndIsServed)
{
    ASSERT_TRUE(m_standIn.Ready());
    m_script.pnp = {PnpInstance(L"UUID:1", kPort, L"http://127.0.0.8/")};
    std::thread([&] {
        ASSERT_EQ(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
        EXPECT_TRUE(GetIPAddressFromWSDPort(kPort, m_text, kWsdAddressChars));
        // Still the thread's own single-threaded apartment.
        EXPECT_EQ(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_FALSE);
        ::CoUninitialize();
        ::CoUninitialize();
    }).join();
    EXPECT_STREQ(m_text, L"http://127.0.0.8/");
}

TEST_F(WsdLookup, ApartmentThatCannotBeHadGivesFalse)
{
    ASSERT_TRUE(m_standIn.Ready());
    m_script.pnp = {PnpInstance(L"UUID:1", kPort, L"http://127.0.0.9/")};
    NoApartment com;
    doubles::ApiOverride<QVWinApi::IComApi> swap(g_pComApi, com);
    EXPECT_FALSE(GetIPAddressFromWSDPort(kPort, m_text, kWsdAddressChars));
    EXPECT_EQ(m_script.queries, 0);
}

TEST_F(WsdLookup, QueueOnAWsdPortIsLookedUpByItsPort)
{
    ASSERT_TRUE(m_standIn.Ready());
    SpoolerQueues queues;
    const std::wstring queue = SpoolerQueues::Unique(L"wsd queue");
    ASSERT_TRUE(queues.Add(queue, kPort));
    m_script.pnp = {PnpInstance(L"UUID:1", kPort, L"http://127.0.0.10:80/q")};
    EXPECT_TRUE(GetIPAddressFromWSDPrinter(queue.c_str(), m_text, kWsdAddressChars));
    EXPECT_STREQ(m_text, L"http://127.0.0.10:80/q");
    Logged({L"(I0) Opening printer (" + queue + L")...", L"(I0) Getting port...",
            L"(I0) Using printer port (" + std::wstring(kPort) + L")"});
}

TEST_F(WsdLookup, IdentityReportedByTheProviderGivesTheFirstAddress)
{
    ASSERT_TRUE(m_standIn.Ready());
    m_script.wsd = {
        {QUA_ADD, new FakeInstance(L"", L"uuid:00000000-0000-0000-0000-000000000000", {})},
        {QUA_REMOVE, new FakeInstance(L"", kIdentity, {})},
        {QUA_ADD, new FakeInstance(L"", L"UUID:6A9E2D8C-2F43-4A55-9D2E-0123456789AB",
                                   {NumberProperty(kOtherKey), TextProperty(kOtherTextKey, L"x"),
                                    TextListProperty(kXAddrs, {L"", L"http://127.0.0.11:5357/dev", L"http://x/"})})},
    };
    ReportedWait com(m_script.reported);
    doubles::ApiOverride<QVWinApi::IComApi> swap(g_pComApi, com);
    EXPECT_TRUE(GetIPAddressFromDeviceID(kIdentity, m_text, kWsdAddressChars));
    EXPECT_STREQ(m_text, L"http://127.0.0.11:5357/dev");
    EXPECT_EQ(m_script.category, L"Provider\\Microsoft.Networking.WSD");
    EXPECT_TRUE(m_script.allSubCategories);
    EXPECT_TRUE(m_script.hadSink);
    EXPECT_EQ(m_script.constraintName, L"ProviderInstanceID");
    EXPECT_EQ(m_script.constraintValue, kIdentity);
    Logged({L"(I0) Waiting for WDS discovery to complete.",
            L"(I0) Look for device in this category: Provider\\Microsoft.Networking.WSD",
            L"(I0) Found matching Device ID: UUID:6A9E2D8C-2F43-4A55-9D2E-0123456789AB",
            L"(I0) VT_LPWSTR | VT_VECTOR:                    PNPX_XAddrs = ",
            L"(I0) VT_LPWSTR | VT_VECTOR:                    PNPX_XAddrs = http://127.0.0.11:5357/dev",
            L"(I0) Found IPAddress: http://127.0.0.11:5357/dev in PKEY_PNPX_XAddrs"});
    EXPECT_EQ(m_log.Count(L"(I0) Found matching Device ID: " + std::wstring(kIdentity)), 0u);
    EXPECT_EQ(m_log.Count(L"(I0) {12345678-1234-1234-1234-123456789ABC}-00000008 = x"), 1u);
}

TEST_F(WsdLookup, LocationInfoTextBecomesTheAddress)
{
    ASSERT_TRUE(m_standIn.Ready());
    m_script.wsd = {{QUA_ADD, new FakeInstance(L"", kIdentity,
                                               {TextProperty(kLocationInfo, L"http://[fe80::1]:5357/x"),
                                                TextListProperty(kServiceAddress, {L"http://127.0.0.12/"})})}};
    ReportedWait com(m_script.reported);
    doubles::ApiOverride<QVWinApi::IComApi> swap(g_pComApi, com);
    EXPECT_TRUE(GetIPAddressFromDeviceID(kIdentity, m_text, kWsdAddressChars));
    EXPECT_STREQ(m_text, L"http://[fe80::1]:5357/x");
    Logged({L"(I0)            Device_LocationInfo = http://[fe80::1]:5357/x",
            L"(I0) VT_LPWSTR:            Device_LocationInfo = http://[fe80::1]:5357/x",
            L"(I0) Found IPAddress: http://[fe80::1]:5357/x"});
    EXPECT_EQ(m_log.Count(L"(I0) Found IPAddress: http://127.0.0.12/ in PKEY_PNPX_ServiceAddress"), 0u);
}

// The provider lets the waiter go before it pulls the address: a caller
// that looks first sees none, and the look-up fails.
TEST_F(WsdLookup, AddressPulledAfterTheWaitEndedIsNotSeen)
{
    ASSERT_TRUE(m_standIn.Ready());
    HANDLE gate = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    m_script.wsd = {{QUA_ADD, new FakeInstance(L"", kIdentity, {TextListProperty(kXAddrs, {L"http://127.0.0.13/"})},
                                               gate)}};
    EXPECT_FALSE(GetIPAddressFromDeviceID(kIdentity, m_text, kWsdAddressChars));
    EXPECT_STREQ(m_text, L"");
    ::SetEvent(gate);
    ASSERT_EQ(::WaitForSingleObject(m_script.reported, 10000), WAIT_OBJECT_0);
    ::CloseHandle(gate);
}

TEST_F(WsdLookup, NoDeviceOfTheIdentityRunsTheWaitOut)
{
    ASSERT_TRUE(m_standIn.Ready());
    m_script.wsd = {{QUA_ADD, new FakeInstance(L"", L"uuid:other", {TextListProperty(kXAddrs, {L"http://x/"})})}};
    ExpiredWait com;
    doubles::ApiOverride<QVWinApi::IComApi> swap(g_pComApi, com);
    EXPECT_FALSE(GetIPAddressFromDeviceID(kIdentity, m_text, kWsdAddressChars));
    EXPECT_EQ(com.asked, 30000u);
    ASSERT_EQ(::WaitForSingleObject(m_script.reported, 10000), WAIT_OBJECT_0);
    Logged({L"(I0) Timeout", L"(I0) No WSD device was found with the DeviceID: " + std::wstring(kIdentity) + L"."});
    EXPECT_EQ(m_log.Count(L"(I0) Found matching Device ID: uuid:other"), 0u);
}

TEST_F(WsdLookup, QueryThatCannotRunIsLoggedAndNotWaitedFor)
{
    ASSERT_TRUE(m_standIn.Ready());
    m_script.executeResult = E_ACCESSDENIED;
    ExpiredWait com;
    doubles::ApiOverride<QVWinApi::IComApi> swap(g_pComApi, com);
    EXPECT_FALSE(GetIPAddressFromDeviceID(kIdentity, m_text, kWsdAddressChars));
    EXPECT_EQ(com.asked, 0u);
    std::wstring line = L"Could not execute query, FD_QUERYCONSTRAINT_PROVIDERINSTANCEID: ";
    line += kIdentity;
    line += L" failed!";
    bool found = false;
    for (const std::wstring& logged : m_log.Lines()) {
        found = found || logged.find(line) != std::wstring::npos;
    }
    EXPECT_TRUE(found);
}

TEST(FuncDiscoHelper, AnswersForItsInterfacesAndCountsFromOne)
{
    auto* helper = new CFuncDiscoHelper;
    void* out = nullptr;
    EXPECT_EQ(helper->QueryInterface(QVWinApi::IID_IFunctionDiscoveryNotification, &out), S_OK);
    EXPECT_EQ(out, static_cast<QVWinApi::IFunctionDiscoveryNotification*>(helper));
    EXPECT_EQ(helper->QueryInterface(IID_IUnknown, &out), S_OK);
    EXPECT_EQ(helper->QueryInterface(QVWinApi::IID_IFunctionInstance, &out), E_NOINTERFACE);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(helper->Release(), 2u);
    EXPECT_EQ(helper->Release(), 1u);
    EXPECT_EQ(helper->Release(), 0u);
}

TEST(FuncDiscoHelper, NotificationsOfErrorsEventsAndNoInstance)
{
    ResolverLog log(L"wsd-helper");
    auto* helper = new CFuncDiscoHelper;
    EXPECT_EQ(helper->OnUpdate(QVWinApi::QUA_ADD, 0, nullptr), E_INVALIDARG);
    EXPECT_EQ(helper->OnError(E_FAIL, 0, L"Microsoft.Networking.WSD"), S_OK);
    EXPECT_EQ(helper->OnEvent(1000, 0, L"Microsoft.Networking.WSD"), S_OK);
    EXPECT_EQ(helper->OnEvent(1000, 0, nullptr), E_INVALIDARG);
    helper->Release();
    std::wstring missing;
    EXPECT_TRUE(log.InOrder({L"(##) Microsoft.Networking.WSD encountered 0x80004005.",
                             L"(I0) Microsoft.Networking.WSD sent OnEvent notification.",
                             L"(##) E_INVALIDARG Provider name was NULL."},
                            &missing))
        << ::testing::PrintToString(missing);
}

TEST(WsdLookupSlots, PortResolverHasItsDestructorFirstThenItsOperations)
{
    doubles::ExpectSlotRun<WSDPortResolver>({doubles::SlotOf(&WSDPortResolver::ResolveToIPAddress),
                                             doubles::SlotOf(&WSDPortResolver::ResolveToIPAddressFromDeviceID),
                                             doubles::SlotOf(&WSDPortResolver::GetIPAddressProperty),
                                             doubles::SlotOf(&WSDPortResolver::SearchThisNode)},
                                            2);
}

TEST(WsdLookupSlots, HelperHasTheNotificationsSlotsThenItsDestructor)
{
    doubles::ExpectSlotRun<CFuncDiscoHelper>({doubles::SlotOf(&CFuncDiscoHelper::QueryInterface),
                                              doubles::SlotOf(&CFuncDiscoHelper::AddRef),
                                              doubles::SlotOf(&CFuncDiscoHelper::Release),
                                              doubles::SlotOf(&CFuncDiscoHelper::OnUpdate),
                                              doubles::SlotOf(&CFuncDiscoHelper::OnError),
                                              doubles::SlotOf(&CFuncDiscoHelper::OnEvent)},
                                             0, 2);
}
