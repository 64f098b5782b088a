// Management objects of orvane-devsim.exe through the stand-in run-time
// "zqdrtl12.dll", which sits beside this program and is loaded by name as
// the library loads the family's one. The test holds the same module to ask
// it how often an entry point was called and to make one fail.
#include <gtest/gtest.h>

#include <windows.h>

#include <cstring>
#include <string>
#include <vector>

#include "api/AddressFactory.h"
#include "api/NetDornRTLMIBConnection.h"
#include "api/USBDornRTLMIBConnection.h"
#include "peers/MibWalk.h"
#include "tools/DevsimProcess.h"
#include "winapi/CKernelApi.h"

using namespace Orvane;

namespace {

const wchar_t kDescription[] = L"1.3.6.1.2.1.1.1.0";
const wchar_t kUpTime[] = L"1.3.6.1.2.1.1.3.0";
const wchar_t kContact[] = L"1.3.6.1.2.1.1.4.0";
const wchar_t kName[] = L"1.3.6.1.2.1.1.5.0";
const wchar_t kPrinterStatus[] = L"1.3.6.1.2.1.25.3.5.1.1.1";
const wchar_t kPageCount[] = L"1.3.6.1.2.1.43.10.2.1.4.1.1";
const unsigned long kFail = static_cast<unsigned long>(E_FAIL);

// The stand-in's test exports.
class StandIn {
public:
    StandIn() : m_module(::LoadLibraryW(L"zqdrtl12.dll"))
    {
        if (m_module != nullptr) {
            reinterpret_cast<void (*)()>(Proc("StandInReset"))();
        }
    }
    ~StandIn()
    {
        if (m_module != nullptr) {
            for (const std::string& name : m_failed) {
                Fail(name.c_str(), 0);
            }
            ::FreeLibrary(m_module);
        }
    }
    bool Loaded() const { return m_module != nullptr; }
    long Calls(const char* name) const
    {
        return reinterpret_cast<long (*)(const char*)>(Proc("StandInCalls"))(name);
    }
    // `status` 0 ends the failure.
    void Fail(const char* name, unsigned long status)
    {
        m_failed.push_back(name);
        reinterpret_cast<void (*)(const char*, unsigned long)>(Proc("StandInFail"))(name, status);
    }
    std::vector<unsigned char> Descriptor(std::string* address) const
    {
        std::vector<unsigned char> descriptor(32);
        char text[256];
        reinterpret_cast<void (*)(unsigned char*, char*, size_t)>(Proc("StandInLastDescriptor"))(
            descriptor.data(), text, sizeof text);
        *address = text;
        return descriptor;
    }

private:
    void* Proc(const char* name) const { return reinterpret_cast<void*>(::GetProcAddress(m_module, name)); }

    HMODULE m_module;
    std::vector<std::string> m_failed;
};

// The platform's loader, but "zqdrtl12.dll" lacks `missing`, or does not
// load at all when `missing` is null. A double, as the test needs the
// run-time without one of its entry points, or absent, while the stand-in
// lies beside the program.
class IncompleteRunTime : public QVWinApi::CKernelApi {
public:
    explicit IncompleteRunTime(const char* missing) : m_missing(missing) {}
    HMODULE LoadLibraryW(LPCWSTR name) override
    {
        if (m_missing == nullptr) {
            ::SetLastError(ERROR_MOD_NOT_FOUND);
            return nullptr;
        }
        return QVWinApi::CKernelApi::LoadLibraryW(name);
    }
    FARPROC GetProcAddress(HMODULE module, LPCSTR name) override
    {
        return std::strcmp(name, m_missing) == 0 ? nullptr : QVWinApi::CKernelApi::GetProcAddress(module, name);
    }

private:
    const char* m_missing;
};

std::wstring TextOf(const VARIANT& value)
{
    return value.vt == VT_BSTR ? std::wstring(value.bstrVal, ::SysStringLen(value.bstrVal)) : L"(not a text)";
}

class MIBTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_standIn.Loaded()) << "zqdrtl12.dll is not beside the test program";
        ASSERT_TRUE(m_devsim.Running()) << "orvane-devsim.exe did not start";
        m_target = L"127.0.0.1:" + std::to_wstring(m_devsim.HttpPort());
        m_address = AddressFactory::CreateFromIPAddress(m_target.c_str());
        ASSERT_EQ(0u, m_address->CreateMIBConnection(&m_mib));
        ASSERT_NE(nullptr, m_mib);
    }
    void TearDown() override
    {
        if (m_mib != nullptr) {
            m_mib->Dispose();
        }
        if (m_address != nullptr) {
            m_address->Dispose();
        }
    }
    // A value read as text; the status in *status.
    std::wstring Text(const wchar_t* oid, unsigned long* status = nullptr)
    {
        VARIANT value;
        ::VariantInit(&value);
        const unsigned long result = m_mib->GetValue(oid, &value);
        if (status != nullptr) {
            *status = result;
        }
        const std::wstring text = result == 0 ? TextOf(value) : L"status " + std::to_wstring(result);
        ::VariantClear(&value);
        return text;
    }
    unsigned long SetText(const wchar_t* oid, const std::wstring& text)
    {
        VARIANT value;
        value.vt = VT_BSTR;
        value.bstrVal = ::SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
        const unsigned long status = m_mib->SetValue(oid, &value);
        ::VariantClear(&value);
        return status;
    }
    // The simulator's own answer to a set, sent as HTTP by the library.
    unsigned long PostToDevsim(const std::wstring& uri, const std::string& body)
    {
        Address* plain = AddressFactory::CreateFromIPAddress(L"127.0.0.1");
        HTTPRequest* request = nullptr;
        EXPECT_EQ(0u, plain->CreateHTTPRequest(&request, m_devsim.HttpPort()));
        unsigned long code = 0;
        if (request != nullptr) {
            request->SetURI(uri.c_str());
            request->SetMethod(L"POST");
            request->SetContent(body.data(), static_cast<unsigned long>(body.size()));
            HTTPResponse* response = nullptr;
            if (request->GetResponse(&response) == 0) {
                code = response->GetStatusCode();
            }
            request->Dispose();
        }
        plain->Dispose();
        return code;
    }

    StandIn m_standIn;
    toolstest::DevsimProcess m_devsim;
    std::wstring m_target;
    Address* m_address = nullptr;
    MIBConnection* m_mib = nullptr;
};

}  // namespace

TEST_F(MIBTest, GetReadsTextAndIntegerObjectsOfTheDevice)
{
    EXPECT_EQ(L"Orvane virtual printer", Text(kDescription));
    EXPECT_EQ(L"orvane-devsim", Text(kName));
    VARIANT status;
    ::VariantInit(&status);
    ASSERT_EQ(0u, m_mib->GetValue(kPrinterStatus, &status));
    EXPECT_EQ(VT_I4, status.vt);
    EXPECT_EQ(3, status.lVal);
    VARIANT up;
    ::VariantInit(&up);
    ASSERT_EQ(0u, m_mib->GetValue(kUpTime, &up));
    EXPECT_EQ(VT_I4, up.vt);
    EXPECT_GE(up.lVal, 0);
}

TEST_F(MIBTest, DescriptorNamesTheIPAddressWithTypeFour)
{
    EXPECT_EQ(L"Orvane virtual printer", Text(kDescription));
    std::string address;
    const std::vector<unsigned char> descriptor = m_standIn.Descriptor(&address);
    EXPECT_EQ(32, descriptor[0]);
    EXPECT_EQ(std::vector<unsigned char>(19, 0), std::vector<unsigned char>(descriptor.begin() + 1, descriptor.begin() + 20));
    EXPECT_EQ((std::vector<unsigned char>{4, 0, 0, 0}), std::vector<unsigned char>(descriptor.begin() + 20, descriptor.begin() + 24));
    EXPECT_EQ("127.0.0.1:" + std::to_string(m_devsim.HttpPort()), address);
}

TEST_F(MIBTest, PageCounterCountsTheJobsReceived)
{
    VARIANT pages;
    ::VariantInit(&pages);
    ASSERT_EQ(0u, m_mib->GetValue(kPageCount, &pages));
    EXPECT_EQ(VT_I4, pages.vt);
    EXPECT_EQ(0, pages.lVal);
    Address* printer = AddressFactory::CreateFromIPAddress(L"127.0.0.1");
    Stream* stream = nullptr;
    ASSERT_EQ(0u, printer->CreateStream(m_devsim.JobPort(), &stream));
    unsigned long written = 0;
    EXPECT_EQ(0u, stream->Write("page", 4, &written));
    stream->Dispose();
    printer->Dispose();
    std::string job;
    ASSERT_TRUE(m_devsim.ReadJob(L"job-0001.prn", &job));
    // The job is stored before it is counted: ask until it is.
    for (int attempt = 0; attempt < 50 && pages.lVal == 0; ++attempt) {
        ::Sleep(20);
        ASSERT_EQ(0u, m_mib->GetValue(kPageCount, &pages));
    }
    EXPECT_EQ(1, pages.lVal);
}

TEST_F(MIBTest, WalkGivesEveryObjectInOrderAndFailsPastTheLast)
{
    const std::vector<std::wstring> walked = peers::WalkFrom(m_mib, L"1.3.6.1.2.1");
    EXPECT_EQ((std::vector<std::wstring>{kDescription, kUpTime, kContact, kName, kPrinterStatus, kPageCount}), walked);
    EXPECT_EQ(7, m_standIn.Calls("_DornGetNextMultiObjectValuesEx@40")) << "the network form, once past the end";
    EXPECT_EQ(0, m_standIn.Calls("_DornGetNextObjectValueEx@36"));
}

TEST_F(MIBTest, SetContactIsReadBack)
{
    EXPECT_EQ(0u, SetText(kContact, L"Print room, ext. 4711"));
    EXPECT_EQ(L"Print room, ext. 4711", Text(kContact));
}

TEST_F(MIBTest, SetOfAReadOnlyObjectOrOfTheWrongTypeFails)
{
    EXPECT_EQ(kFail, SetText(kDescription, L"renamed"));
    VARIANT number;
    number.vt = VT_I4;
    number.lVal = 5;
    EXPECT_EQ(kFail, m_mib->SetValue(kContact, &number)) << "the contact is a text";
    EXPECT_EQ(L"Orvane virtual printer", Text(kDescription));
    EXPECT_EQ(2, m_standIn.Calls("_DornSetObjectValueEx@40"));
}

TEST_F(MIBTest, IdentifierOf256PartsFailsAndOf255GoesOn)
{
    std::wstring parts = L"1";
    for (int i = 1; i < 255; ++i) {
        parts += L".1";
    }
    const long before = m_standIn.Calls("_DornGetObjectValueEx@32");
    unsigned long status = 0;
    Text(parts.c_str(), &status);
    EXPECT_EQ(kFail, status) << "no such object on the device";
    EXPECT_EQ(before + 1, m_standIn.Calls("_DornGetObjectValueEx@32")) << "255 parts reach the run-time";
    Text((parts + L".1").c_str(), &status);
    EXPECT_EQ(kFail, status);
    EXPECT_EQ(before + 1, m_standIn.Calls("_DornGetObjectValueEx@32")) << "256 parts do not";
}

TEST_F(MIBTest, IdentifierPartAbove255KeepsItsLowEightBits)
{
    // 257 is 256 + 1, and 1285 is 5 * 256 + 5: the description and the name.
    EXPECT_EQ(L"Orvane virtual printer", Text(L"1.3.6.1.2.1.1.257.0"));
    EXPECT_EQ(L"orvane-devsim", Text(L"1.3.6.1.2.1.1.1285.0"));
}

TEST_F(MIBTest, TextOf256BytesIsDeliveredAndAReplyOf257BytesFails)
{
    const std::wstring full(256, L'x');
    ASSERT_EQ(0u, SetText(kContact, full));
    EXPECT_EQ(full, Text(kContact));
    // The library cannot set more than 256 bytes; the simulator can.
    ASSERT_EQ(200u, PostToDevsim(L"/mib?set=1.3.6.1.2.1.1.4.0", "STRING\n" + std::string(257, 'y')));
    unsigned long status = 0;
    Text(kContact, &status);
    EXPECT_EQ(kFail, status);
}

TEST_F(MIBTest, SetOfADoubleFailsWithoutCallingTheRunTime)
{
    VARIANT real;
    real.vt = VT_R8;
    real.dblVal = 2.5;
    EXPECT_EQ(kFail, m_mib->SetValue(kContact, &real));
    EXPECT_EQ(0, m_standIn.Calls("_DornSetObjectValueEx@40"));
}

TEST_F(MIBTest, NextIdentifierTooLongForItsBufferFails)
{
    // "1.3.6.1.2.1.1.1.0" has 17 characters and needs 18 with its end.
    wchar_t next[18] = {};
    VARIANT value;
    ::VariantInit(&value);
    EXPECT_EQ(kFail, m_mib->GetNextValue(L"1.3.6.1.2.1", next, 17, &value));
    ASSERT_EQ(0u, m_mib->GetNextValue(L"1.3.6.1.2.1", next, 18, &value));
    EXPECT_STREQ(kDescription, next);
    EXPECT_EQ(L"Orvane virtual printer", TextOf(value));
    ::VariantClear(&value);
}

TEST_F(MIBTest, SecondOpenDoesNotCallTheRunTimeAgain)
{
    EXPECT_EQ(L"Orvane virtual printer", Text(kDescription));
    EXPECT_EQ(L"orvane-devsim", Text(kName));
    EXPECT_EQ(1, m_standIn.Calls("_OpenOsDevice@8"));
    EXPECT_EQ(1, m_standIn.Calls("_DornRegisterEx@24"));
    EXPECT_EQ(2, m_standIn.Calls("_DornGetObjectValueEx@32"));
    m_mib->Dispose();
    m_mib = nullptr;
    EXPECT_EQ(1, m_standIn.Calls("_DornUnRegisterEx@8"));
    EXPECT_EQ(1, m_standIn.Calls("_CloseOsDevice@4"));
}

TEST_F(MIBTest, OpenAfterCloseReportsTrueWithoutOpeningAgain)
{
    NetDornRTLMIBConnection connection;
    connection.Initialize(m_target.c_str());
    ASSERT_TRUE(connection.Open());
    connection.Close();
    EXPECT_TRUE(connection.Open()) << "the handles stay set after Close";
    EXPECT_EQ(1, m_standIn.Calls("_OpenOsDevice@8"));
    EXPECT_EQ(1, m_standIn.Calls("_CloseOsDevice@4"));
}

TEST_F(MIBTest, FailedOpenFailsEveryOperationAndIsTriedAgainEachTime)
{
    m_standIn.Fail("_OpenOsDevice@8", 9);
    VARIANT value;
    ::VariantInit(&value);
    wchar_t next[64];
    EXPECT_EQ(kFail, m_mib->GetValue(kDescription, &value));
    EXPECT_EQ(kFail, m_mib->GetNextValue(L"1.3", next, 64, &value));
    EXPECT_EQ(kFail, SetText(kContact, L"never stored"));
    EXPECT_EQ(3, m_standIn.Calls("_OpenOsDevice@8"));
    EXPECT_EQ(0, m_standIn.Calls("_DornRegisterEx@24"));
    EXPECT_EQ(0, m_standIn.Calls("_DornGetObjectValueEx@32"));
}

TEST_F(MIBTest, FailedRegistrationFailsTheOpenButTheDeviceStaysOpen)
{
    NetDornRTLMIBConnection connection;
    connection.Initialize(m_target.c_str());
    m_standIn.Fail("_DornRegisterEx@24", 9);
    VARIANT value;
    ::VariantInit(&value);
    EXPECT_EQ(kFail, connection.GetValue(kDescription, &value));
    EXPECT_EQ(0, m_standIn.Calls("_DornGetObjectValueEx@32"));
    // The device handle is kept, so the next open reports true without a
    // registration, and the run-time is asked with none.
    EXPECT_TRUE(connection.Open());
    EXPECT_EQ(1, m_standIn.Calls("_OpenOsDevice@8"));
    EXPECT_EQ(1, m_standIn.Calls("_DornRegisterEx@24"));
}

TEST_F(MIBTest, FailedGetNextAndSetGiveEFail)
{
    const struct {
        const char* entry;
        int operation;
    } cases[] = {{"_DornGetObjectValueEx@32", 0},
                 {"_DornGetNextMultiObjectValuesEx@40", 1},
                 {"_DornSetObjectValueEx@40", 2}};
    for (const auto& c : cases) {
        m_standIn.Fail(c.entry, 12);
        VARIANT value;
        ::VariantInit(&value);
        wchar_t next[64];
        unsigned long status = 0;
        if (c.operation == 0) {
            status = m_mib->GetValue(kDescription, &value);
        } else if (c.operation == 1) {
            status = m_mib->GetNextValue(L"1.3", next, 64, &value);
        } else {
            status = SetText(kContact, L"never stored");
        }
        EXPECT_EQ(kFail, status) << c.entry;
        EXPECT_EQ(1, m_standIn.Calls(c.entry)) << c.entry;
        m_standIn.Fail(c.entry, 0);
    }
    EXPECT_EQ(L"", Text(kContact)) << "the failed set stored nothing";
}

TEST_F(MIBTest, FailedUnregisterAndCloseStillCallBoth)
{
    EXPECT_EQ(L"Orvane virtual printer", Text(kDescription));
    m_standIn.Fail("_DornUnRegisterEx@8", 3);
    m_standIn.Fail("_CloseOsDevice@4", 3);
    m_mib->Dispose();
    m_mib = nullptr;
    EXPECT_EQ(1, m_standIn.Calls("_DornUnRegisterEx@8"));
    EXPECT_EQ(1, m_standIn.Calls("_CloseOsDevice@4"));
}

TEST_F(MIBTest, MissingMultipleFormFailsTheNetworkWalkOnly)
{
    NetDornRTLMIBConnection connection(new IncompleteRunTime("_DornGetNextMultiObjectValuesEx@40"));
    connection.Initialize(m_target.c_str());
    VARIANT value;
    ::VariantInit(&value);
    wchar_t next[64];
    EXPECT_EQ(kFail, connection.GetNextValue(L"1.3", next, 64, &value));
    ASSERT_EQ(0u, connection.GetValue(kDescription, &value));
    EXPECT_EQ(L"Orvane virtual printer", TextOf(value));
    ::VariantClear(&value);
}

TEST_F(MIBTest, WithoutTheRunTimeEveryOperationFails)
{
    NetDornRTLMIBConnection connection(new IncompleteRunTime(nullptr));
    connection.Initialize(m_target.c_str());
    VARIANT value;
    ::VariantInit(&value);
    wchar_t next[64];
    EXPECT_FALSE(connection.Open());
    EXPECT_EQ(kFail, connection.GetValue(kDescription, &value));
    EXPECT_EQ(kFail, connection.GetNextValue(L"1.3", next, 64, &value));
    EXPECT_EQ(kFail, connection.SetValue(kContact, &value));
    EXPECT_EQ(0, m_standIn.Calls("_OpenOsDevice@8"));
}

TEST_F(MIBTest, UsbConnectionNamesItsPortWithTypeThreeAndWalksWithTheSingleForm)
{
    USBDornRTLMIBConnection connection;
    connection.Initialize(L"USB001");
    VARIANT value;
    ::VariantInit(&value);
    wchar_t next[64];
    // The stand-in knows no configuration channel for USB001: the open
    // fails, after the descriptor was read.
    EXPECT_EQ(kFail, connection.GetNextValue(L"1.3", next, 64, &value));
    std::string port;
    const std::vector<unsigned char> descriptor = m_standIn.Descriptor(&port);
    EXPECT_EQ(32, descriptor[0]);
    EXPECT_EQ(3, descriptor[20]);
    EXPECT_EQ("USB001", port);
    EXPECT_EQ(0, m_standIn.Calls("_DornGetNextMultiObjectValuesEx@40"));
}

// The conversions of identifiers and values, on a connection that is never
// opened.
TEST(MIBConversions, IdentifierDotsAtTheEndsAndRepeatedMakeNoEmptyParts)
{
    NetDornRTLMIBConnection connection;
    unsigned char bytes[8] = {9, 9, 9, 9, 9, 9, 9, 9};
    unsigned long count = 0;
    ASSERT_TRUE(connection.GetOidFromString(L"..1..3.6.", bytes, 8, &count));
    EXPECT_EQ(3u, count);
    EXPECT_EQ((std::vector<unsigned char>{1, 3, 6, 0, 0, 0, 0, 0}), std::vector<unsigned char>(bytes, bytes + 8));
    unsigned char kept[4] = {7, 7, 7, 7};
    EXPECT_FALSE(connection.GetOidFromString(L"1.2.3.4", kept, 4, &count)) << "as many parts as bytes";
    EXPECT_EQ(4u, count);
    EXPECT_EQ((std::vector<unsigned char>{7, 7, 7, 7}), std::vector<unsigned char>(kept, kept + 4));
}

TEST(MIBConversions, IdentifierTextNeedsRoomForItsEnd)
{
    NetDornRTLMIBConnection connection;
    const unsigned char oid[] = {1, 3, 255};
    wchar_t text[8] = {};
    EXPECT_FALSE(connection.GetStringFromOid(oid, 3, text, 7));
    ASSERT_TRUE(connection.GetStringFromOid(oid, 3, text, 8));
    EXPECT_STREQ(L"1.3.255", text);
}

TEST(MIBConversions, ValuesOfEachTypeCode)
{
    NetDornRTLMIBConnection connection;
    const unsigned char bytes[] = {0x01, 0x02, 0x03, 0x04, 0x05};
    for (unsigned long type : {1ul, 2ul}) {
        VARIANT value;
        ASSERT_EQ(0u, connection.GetVariantFromValue(bytes, 5, type, &value));
        EXPECT_EQ(VT_I4, value.vt);
        EXPECT_EQ(0x04030201, value.lVal) << "the bytes in the order they came, four at most";
    }
    VARIANT two;
    ASSERT_EQ(0u, connection.GetVariantFromValue(bytes, 2, 2, &two));
    EXPECT_EQ(0x0201, two.lVal);
    const unsigned char text[] = {'a', 'b', 'c'};
    for (unsigned long type : {4ul, 5ul}) {
        VARIANT value;
        ASSERT_EQ(0u, connection.GetVariantFromValue(text, 3, type, &value));
        EXPECT_EQ(L"abc", TextOf(value));
        ::VariantClear(&value);
    }
    VARIANT untouched;
    untouched.vt = VT_EMPTY;
    for (unsigned long type : {0ul, 3ul, 6ul}) {
        EXPECT_EQ(static_cast<unsigned long>(E_INVALIDARG), connection.GetVariantFromValue(bytes, 4, type, &untouched));
    }
    EXPECT_EQ(VT_EMPTY, untouched.vt);
    EXPECT_EQ(0u, connection.GetVariantFromValue(bytes, 4, 2, nullptr)) << "no VARIANT wanted";
}

TEST(MIBConversions, VariantsToValues)
{
    NetDornRTLMIBConnection connection;
    unsigned char bytes[8];
    unsigned long type = 0;
    VARIANT number;
    number.vt = VT_I4;
    number.lVal = 0x11223344;
    ASSERT_EQ(0u, connection.GetValueFromVariant(&number, bytes, 8, &type));
    EXPECT_EQ(2u, type);
    EXPECT_EQ((std::vector<unsigned char>{0x44, 0x33, 0x22, 0x11, 0, 0, 0, 0}), std::vector<unsigned char>(bytes, bytes + 8));
    VARIANT text;
    text.vt = VT_BSTR;
    text.bstrVal = ::SysAllocString(L"hi");
    ASSERT_EQ(0u, connection.GetValueFromVariant(&text, bytes, 8, &type));
    EXPECT_EQ(4u, type);
    EXPECT_EQ((std::vector<unsigned char>{'h', 'i', 0, 0, 0, 0, 0, 0}), std::vector<unsigned char>(bytes, bytes + 8));
    ::VariantClear(&text);
    VARIANT real;
    real.vt = VT_R8;
    real.dblVal = 1.0;
    EXPECT_EQ(static_cast<unsigned long>(E_UNEXPECTED), connection.GetValueFromVariant(&real, bytes, 8, &type));
    EXPECT_EQ(static_cast<unsigned long>(E_INVALIDARG), connection.GetValueFromVariant(&number, nullptr, 8, &type));
    EXPECT_EQ(static_cast<unsigned long>(E_INVALIDARG), connection.GetValueFromVariant(&number, bytes, 8, nullptr));
}
