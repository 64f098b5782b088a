// HTTP across USB: the library's own client on a USB address's
// configuration channel, against the simulator's web site answering on the
// virtual printer's configuration function, through a plain channel and
// through a component library; and the exchanges every transport shares
// (HTTPExchangeCases.h) on the plain channel.
#include <gtest/gtest.h>

#include <windows.h>

#include <memory>

#include "ComponentLibraries.h"
#include "UsbFixture.h"
#include "api/HTTPExchangeCases.h"
#include "WebOnConfiguration.h"
#include "api/QVUSBAddress.h"
#include "api/USBDeviceManager.h"

using namespace QVDeviceManager;
using Orvane::HTTPRequest;
using Orvane::HTTPResponse;
using Orvane::QVUSBAddress;

namespace usb_test {

namespace {

// An address on a device opened through its own manager, and one request
// made on it; the request is given back before the address.
class AddressRequest {
public:
    AddressRequest(const wchar_t* serial, const wchar_t* text)
    {
        auto* manager = new Orvane::USBDeviceManager();
        m_device = manager->OpenUSBDeviceByPort(serial);
        m_address = new QVUSBAddress(text, manager, m_device);
        m_address->AddRef();
        m_status = m_address->CreateHTTPRequest(&m_request, 80);
    }
    ~AddressRequest()
    {
        if (m_request != nullptr) {
            m_request->Dispose();
        }
        m_address->Dispose();
    }
    AddressRequest(const AddressRequest&) = delete;
    AddressRequest& operator=(const AddressRequest&) = delete;

    unsigned long Status() const { return m_status; }
    // Hands the request over to the caller, who gives it back first.
    HTTPRequest* Take()
    {
        HTTPRequest* request = m_request;
        m_request = nullptr;
        return request;
    }
    HTTPRequest* operator->() { return m_request; }
    std::wstring ConfigPath()
    {
        IDeviceFunction* function = nullptr;
        return m_device != nullptr && m_device->GetFunction(FUNCTION_TYPE_CONFIG, &function) == 0
                   ? function->GetAddress()
                   : std::wstring();
    }
    // The response to a GET of `uri`, null when none came.
    HTTPResponse* Get(const wchar_t* uri)
    {
        m_request->SetURI(uri);
        HTTPResponse* response = nullptr;
        return m_request->GetResponse(&response) == 0 ? response : nullptr;
    }

private:
    IDevice* m_device = nullptr;
    QVUSBAddress* m_address = nullptr;
    HTTPRequest* m_request = nullptr;
    unsigned long m_status = 0;
};

std::string Body(HTTPResponse* response)
{
    const unsigned char* content = response->GetContent();
    return content != nullptr ? std::string(reinterpret_cast<const char*>(content), response->GetContentAvailable())
                              : std::string();
}

std::wstring HeaderOf(HTTPResponse* response, const wchar_t* name)
{
    const wchar_t* value = response->GetHeader(name);
    return value != nullptr ? value : L"(none)";
}

class HttpAcrossUsb : public UsbFixture {
protected:
    // A request on the device with the plain configuration channel.
    std::unique_ptr<AddressRequest> PlainChannel()
    {
        auto request = std::make_unique<AddressRequest>(kRestSerial, L"USB033");
        EXPECT_TRUE(Printer().Plug(USBPRINTER_FUNCTION_CONFIG, request->ConfigPath()));
        return request;
    }

    WebOnConfiguration m_web;
};

TEST_F(HttpAcrossUsb, ThePageComesWithItsStatusHeadersAndABodyOfKnownLength)
{
    auto request = PlainChannel();
    ASSERT_EQ(request->Status(), 0UL);
    HTTPResponse* response = request->Get(L"/status");
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->GetStatusCode(), 200UL);
    EXPECT_STREQ(response->GetContentType(), L"text/html");
    const std::string body = Body(response);
    EXPECT_EQ(HeaderOf(response, L"content-length"), std::to_wstring(body.size()));
    EXPECT_NE(body.find("<p>Status: READY</p><p>Jobs received: 0</p>"), std::string::npos) << body;
}

TEST_F(HttpAcrossUsb, AChunkedBodyComesWhole)
{
    auto request = PlainChannel();
    HTTPResponse* response = request->Get(L"/chunked");
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->GetStatusCode(), 200UL);
    EXPECT_EQ(HeaderOf(response, L"Transfer-Encoding"), L"chunked");
    EXPECT_EQ(Body(response), "<html><body>\n<p>This page comes in chunks.</p>\n</body></html>\n");
}

TEST_F(HttpAcrossUsb, AMissingPageIsAnAnswerWithItsStatus)
{
    auto request = PlainChannel();
    HTTPResponse* response = request->Get(L"/no-such-page");
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->GetStatusCode(), 404UL);
    // The next page on the same channel is whole.
    HTTPResponse* next = request->Get(L"/chunked");
    ASSERT_NE(next, nullptr);
    EXPECT_EQ(next->GetStatusCode(), 200UL);
    EXPECT_EQ(Body(next), "<html><body>\n<p>This page comes in chunks.</p>\n</body></html>\n");
}

TEST_F(HttpAcrossUsb, DigestCredentialsAnswerTheChallenge)
{
    auto request = PlainChannel();
    HTTPResponse* refused = request->Get(L"/digest");
    ASSERT_NE(refused, nullptr);
    EXPECT_EQ(refused->GetStatusCode(), 401UL);
    (*request)->SetUserName(L"admin");
    (*request)->SetPassword(L"secret");
    HTTPResponse* accepted = request->Get(L"/digest");
    ASSERT_NE(accepted, nullptr);
    EXPECT_EQ(accepted->GetStatusCode(), 200UL);
    EXPECT_EQ(Body(accepted), "<html><body><p>Digest authentication accepted.</p></body></html>\n");
}

TEST_F(HttpAcrossUsb, BasicCredentialsAreAcceptedToo)
{
    auto request = PlainChannel();
    (*request)->SetUserName(L"admin");
    (*request)->SetPassword(L"secret");
    HTTPResponse* accepted = request->Get(L"/basic");
    ASSERT_NE(accepted, nullptr);
    EXPECT_EQ(accepted->GetStatusCode(), 200UL);
    EXPECT_EQ(Body(accepted), "<html><body><p>Basic authentication accepted.</p></body></html>\n");
}

TEST_F(HttpAcrossUsb, ARequestWithABodyReachesTheDevice)
{
    auto request = PlainChannel();
    ASSERT_EQ((*request)->SetMethod(L"POST"), 0UL);
    (*request)->SetContentType(L"text/plain");
    (*request)->SetContent("name=value", 10);
    HTTPResponse* response = request->Get(L"/echo");
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->GetStatusCode(), 200UL);
    const std::string body = Body(response);
    EXPECT_EQ(body.rfind("POST /echo HTTP/1.1\r\n", 0), 0U) << body;
    EXPECT_NE(body.find("\r\nHOST: \r\n"), std::string::npos) << "a USB channel has no host name: " << body;
    EXPECT_EQ(body.substr(body.size() - 14), "\r\n\r\nname=value") << body;
}

TEST_F(HttpAcrossUsb, ThePageComesThroughTheComponentLibraryToo)
{
    ComponentLibraries libraries(L"all", Device().PathOf(FUNCTION_TYPE_CONFIG));
    {
        AddressRequest request(kSerial, L"USB031");
        ASSERT_EQ(request.Status(), 0UL);
        HTTPResponse* response = request.Get(L"/chunked");
        ASSERT_NE(response, nullptr);
        EXPECT_EQ(response->GetStatusCode(), 200UL);
        EXPECT_EQ(Body(response), "<html><body>\n<p>This page comes in chunks.</p>\n</body></html>\n");
        HTTPResponse* echo = request.Get(L"/echo");
        ASSERT_NE(echo, nullptr);
        EXPECT_NE(Body(echo).find("\r\nHOST: localhost\r\n"), std::string::npos) << Body(echo);
    }
    const std::string calls = ComponentLibraries::Calls();
    EXPECT_EQ(calls.rfind("FXVarloChannel.dll:OpenBulk(USB031);", 0), 0U) << calls;
    EXPECT_NE(calls.find("FXVarloChannel.dll:CloseBulk();"), std::string::npos) << calls;
}

// The device with the plain configuration channel answering every request
// with one fixed answer, and an address on it.
class UsbTransport {
public:
    using Fixture = UsbFixture;

    HTTPRequest* Request(const std::string& answer)
    {
        m_address = std::make_unique<AddressRequest>(kRestSerial, L"USB033");
        std::string error;
        usbprinter::VirtualUsbPrinter* printer = usb_test::Printer(&error);
        EXPECT_TRUE(printer->Plug(USBPRINTER_FUNCTION_CONFIG, m_address->ConfigPath()));
        m_channel = std::make_unique<devsim::UsbWebChannel>(
            *printer, [this, answer](const std::string& bytes, const devsim::HttpRequest&) {
                std::lock_guard<std::mutex> guard(m_lock);
                m_requests.push_back(bytes);
                return answer;
            });
        return m_address->Take();
    }
    bool WaitRequests(size_t count)
    {
        std::string error;
        return usb_test::Printer(&error)->WaitFor([this, count] { return Requests().size() >= count; }, 5000);
    }
    std::vector<std::string> Requests()
    {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_requests;
    }
    // A USB channel has no host name.
    std::string Host() { return ""; }

private:
    std::unique_ptr<AddressRequest> m_address;
    std::mutex m_lock;
    std::vector<std::string> m_requests;
    std::unique_ptr<devsim::UsbWebChannel> m_channel;
};

}  // namespace

}  // namespace usb_test

namespace http_cases {
INSTANTIATE_TYPED_TEST_SUITE_P(Usb, HTTPExchange, usb_test::UsbTransport);
}  // namespace http_cases
