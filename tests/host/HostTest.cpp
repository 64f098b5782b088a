// A host's view: only the public header and the DLL's import library.
#include <gtest/gtest.h>

#include <windows.h>
#include <winspool.h>

#include <mutex>
#include <string>
#include <type_traits>
#include <vector>

#include "orvane64.h"
#include "doubles/VtableSlots.h"
#include "peers/HTTPAnswer.h"
#include "peers/LoopbackPeer.h"
#include "peers/PrinterQueue.h"
#include "peers/TestKey.h"

using peers::HTTPAnswer;
using peers::LoopbackPeer;

namespace {

using doubles::SlotOf;

// The operations follow each other in the listed order, right behind the
// destructor's two entries (complete and deleting), and are the last.
template <typename Class>
void ExpectSlotsAfterTheDestructor(const std::vector<size_t>& slots, size_t firstSlot)
{
    doubles::ExpectSlotRun<Class>(slots, firstSlot, 0);
}

TEST(Host, WritesAndReadsThroughAnAddressAndAStream)
{
    LoopbackPeer peer(LoopbackPeer::Echo, LoopbackPeer::PortChoice::StreamRange);
    Orvane::Address* address = Orvane::CreateAddressFromIPAddress(L"127.0.0.1");
    ASSERT_NE(nullptr, address);
    EXPECT_STREQ(L"127.0.0.1", address->GetAddress());

    Orvane::Stream* stream = nullptr;
    ASSERT_EQ(0u, address->CreateStream(peer.Port(), &stream));
    ASSERT_NE(nullptr, stream);
    EXPECT_EQ(30000u, stream->GetOpenTimeout());
    stream->SetReadTimeout(5000);
    EXPECT_EQ(5000u, stream->GetReadTimeout());

    unsigned long written = 0;
    EXPECT_EQ(0u, stream->Write("ping", 4, &written));
    EXPECT_EQ(4u, written);
    EXPECT_EQ(4u, stream->BytesAvailable());
    char buffer[8] = {};
    unsigned long read = 0;
    EXPECT_EQ(0u, stream->Read(buffer, sizeof(buffer), &read));
    EXPECT_EQ("ping", std::string(buffer, read));
    EXPECT_EQ(0u, stream->GetSystemErrorCode());

    EXPECT_EQ(0u, address->Dispose());
    EXPECT_EQ(0u, stream->Close());
    EXPECT_EQ(0u, stream->Dispose());
}

TEST(Host, ReadTimeoutIsReportedAsTheSystemError)
{
    LoopbackPeer peer(LoopbackPeer::Silent, LoopbackPeer::PortChoice::StreamRange);
    Orvane::Address* address = Orvane::CreateAddressFromIPAddress(L"127.0.0.1");
    Orvane::Stream* stream = nullptr;
    ASSERT_EQ(0u, address->CreateStream(peer.Port(), &stream));
    stream->SetReadTimeout(100);
    char buffer[8];
    unsigned long read = 7;
    EXPECT_EQ(static_cast<unsigned long>(E_FAIL), stream->Read(buffer, sizeof(buffer), &read));
    EXPECT_EQ(0u, read);
    EXPECT_EQ(static_cast<unsigned long>(ERROR_TIMEOUT), stream->GetSystemErrorCode());
    stream->Dispose();
    address->Dispose();
}

TEST(Host, PortsOutsideTheStreamRangeGiveNoStream)
{
    Orvane::Address* address = Orvane::CreateAddressFromIPAddress(L"192.0.2.7");
    ASSERT_NE(nullptr, address);
    Orvane::Stream* stream = nullptr;
    EXPECT_EQ(0u, address->CreateStream(79, &stream));
    EXPECT_EQ(nullptr, stream);
    Orvane::Notifier* notifier = nullptr;
    EXPECT_EQ(static_cast<unsigned long>(E_FAIL), address->CreateNotifier(&notifier));
    EXPECT_EQ(nullptr, notifier);
    EXPECT_EQ(0u, address->Dispose());
}

// Both overloads of a pair, in the order AddRef, AddRef, Dispose, Dispose,
// and nothing else: the interface has no destructor of its own.
TEST(Host, DisposableHasTwoAddRefsThenTwoDisposes)
{
    using Orvane::IDisposable;
    using Counting = unsigned long (IDisposable::*)();
    using ConstCounting = unsigned long (IDisposable::*)() const;
    doubles::ExpectSlotRun<IDisposable>({SlotOf(static_cast<Counting>(&IDisposable::AddRef)),
                                         SlotOf(static_cast<ConstCounting>(&IDisposable::AddRef)),
                                         SlotOf(static_cast<Counting>(&IDisposable::Dispose)),
                                         SlotOf(static_cast<ConstCounting>(&IDisposable::Dispose))},
                                        0, 0);
}

TEST(Host, StreamHasItsOperationsInOrderBehindTheDestructor)
{
    using Orvane::Stream;
    // Behind the four counting operations of the public IDisposable and the
    // destructor's two entries.
    ExpectSlotsAfterTheDestructor<Stream>({SlotOf(&Stream::Open), SlotOf(&Stream::Write),
                                           SlotOf(&Stream::BytesAvailable), SlotOf(&Stream::Read),
                                           SlotOf(&Stream::Close),
                                           SlotOf(&Stream::GetSystemErrorCode), SlotOf(&Stream::GetOpenTimeout),
                                           SlotOf(&Stream::SetOpenTimeout), SlotOf(&Stream::GetReadTimeout),
                                           SlotOf(&Stream::SetReadTimeout), SlotOf(&Stream::GetWriteTimeout),
                                           SlotOf(&Stream::SetWriteTimeout)},
                                          6);
}

TEST(Host, NotifierHasItsOperationsInOrderBehindTheDestructor)
{
    using Orvane::Notifier;
    ExpectSlotsAfterTheDestructor<Notifier>(
        {SlotOf(static_cast<unsigned long (Notifier::*)(HANDLE)>(&Notifier::EnableNotification)),
         SlotOf(static_cast<unsigned long (Notifier::*)(bool)>(&Notifier::EnableNotification)),
         SlotOf(&Notifier::WaitForNotification), SlotOf(&Notifier::IsNotificationEnabled),
         SlotOf(&Notifier::IsNotificationPending)},
        6);
}

TEST(Host, MIBConnectionHasItsOperationsInOrderBehindTheDestructor)
{
    using Orvane::MIBConnection;
    ExpectSlotsAfterTheDestructor<MIBConnection>(
        {SlotOf(&MIBConnection::GetValue), SlotOf(&MIBConnection::GetNextValue), SlotOf(&MIBConnection::SetValue)}, 6);
}

TEST(Host, HTTPRequestHasItsOperationsInOrderBehindTheDestructor)
{
    using Orvane::HTTPRequest;
    // Behind the four counting operations of the public IDisposable and the
    // destructor's two entries.
    ExpectSlotsAfterTheDestructor<HTTPRequest>({SlotOf(&HTTPRequest::SetURI), SlotOf(&HTTPRequest::SetUserName),
                                                SlotOf(&HTTPRequest::SetPassword), SlotOf(&HTTPRequest::SetMethod),
                                                SlotOf(&HTTPRequest::SetHeader), SlotOf(&HTTPRequest::SetContentType),
                                                SlotOf(&HTTPRequest::SetContent), SlotOf(&HTTPRequest::GetResponse)},
                                               6);
}

TEST(Host, HTTPResponseHasItsOperationsInOrderBehindTheDestructor)
{
    using Orvane::HTTPResponse;
    ExpectSlotsAfterTheDestructor<HTTPResponse>(
        {SlotOf(&HTTPResponse::GetStatusCode), SlotOf(&HTTPResponse::GetHeader), SlotOf(&HTTPResponse::GetContentType),
         SlotOf(&HTTPResponse::GetContentAvailable), SlotOf(&HTTPResponse::GetContent)},
        2);
}

TEST(Host, AddressMakesHTTPRequestsInTheSixthSlotWithTheRequestFirst)
{
    using Orvane::Address;
    ExpectSlotsAfterTheDestructor<Address>({SlotOf(&Address::IsConnected), SlotOf(&Address::GetAddress),
                                            SlotOf(&Address::CreateStream), SlotOf(&Address::CreateNotifier),
                                            SlotOf(&Address::CreateHTTPRequest),
                                            SlotOf(&Address::CreateMIBConnection)},
                                           6);
    static_assert(std::is_same_v<decltype(&Address::CreateHTTPRequest),
                                 unsigned long (Address::*)(Orvane::HTTPRequest**, int)>,
                  "the request comes first, the port second");
}

TEST(Host, FetchesAPageThroughAnAddressAndAnHTTPRequest)
{
    HTTPAnswer answer("HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nContent-Length: 13\r\n\r\n<p>hello</p>\n");
    LoopbackPeer peer(answer.Session(), LoopbackPeer::PortChoice::HTTPRange);
    Orvane::Address* address = Orvane::CreateAddressFromIPAddress(L"127.0.0.1");
    ASSERT_NE(nullptr, address);
    Orvane::HTTPRequest* request = nullptr;
    ASSERT_EQ(0u, address->CreateHTTPRequest(&request, peer.Port()));
    ASSERT_NE(nullptr, request);
    EXPECT_EQ(0u, address->Dispose());

    request->SetURI(L"/index.html");
    request->SetHeader(L"Accept", L"text/html");
    Orvane::HTTPResponse* response = nullptr;
    ASSERT_EQ(0u, request->GetResponse(&response));
    ASSERT_NE(nullptr, response);
    EXPECT_EQ(200u, response->GetStatusCode());
    EXPECT_STREQ(L"text/html", response->GetContentType());
    EXPECT_STREQ(L"13", response->GetHeader(L"content-length"));
    EXPECT_EQ(13u, response->GetContentAvailable());
    const unsigned char* content = response->GetContent();
    ASSERT_NE(nullptr, content);
    EXPECT_STREQ("<p>hello</p>\n", reinterpret_cast<const char*>(content));
    ASSERT_TRUE(answer.WaitRequests(1));
    EXPECT_EQ("GET /index.html HTTP/1.1\r\nAccept: text/html\r\nHOST: 127.0.0.1:" + std::to_string(peer.Port())
                  + "\r\n\r\n",
              answer.Requests()[0]);
    EXPECT_EQ(0u, request->Dispose());
}

TEST(Host, PortsOutsideTheHTTPRangeGiveNoRequest)
{
    Orvane::Address* address = Orvane::CreateAddressFromIPAddress(L"192.0.2.7");
    ASSERT_NE(nullptr, address);
    Orvane::HTTPRequest* request = reinterpret_cast<Orvane::HTTPRequest*>(1);
    EXPECT_EQ(0u, address->CreateHTTPRequest(&request, 8081));
    EXPECT_EQ(nullptr, request);
    EXPECT_EQ(0u, address->Dispose());
}


// A print queue of this process in the prefix's spooler on a standard
// TCP/IP port whose device is on loopback, removed again with this object.
class NetworkQueue {
public:
    NetworkQueue()
        : m_port(L"ORV_HOST_" + std::to_wstring(GetCurrentProcessId())),
          m_queue(L"Orvane Host Queue " + std::to_wstring(GetCurrentProcessId())),
          m_key(HKEY_LOCAL_MACHINE,
                L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Standard TCP/IP Port\\Ports\\" + m_port)
    {
        m_key.SetString(L"HostName", L"127.0.0.1");
        m_key.SetDword(L"Protocol", 1);
        m_key.SetDword(L"PortNumber", 9100);
        PRINTER_INFO_2W info = {};
        info.pPrinterName = const_cast<wchar_t*>(m_queue.c_str());
        info.pPortName = const_cast<wchar_t*>(m_port.c_str());
        info.pDriverName = const_cast<wchar_t*>(L"Orvane Test Driver");
        info.pPrintProcessor = const_cast<wchar_t*>(L"WinPrint");
        info.pDatatype = const_cast<wchar_t*>(L"RAW");
        HANDLE printer = nullptr;
        if (peers::InstallPrinterDriver(info.pDriverName)
            && (printer = AddPrinterW(nullptr, 2, reinterpret_cast<BYTE*>(&info))) != nullptr) {
            ClosePrinter(printer);
            m_added = true;
        }
    }
    ~NetworkQueue() { peers::DeletePrinterQueue(m_queue.c_str()); }
    bool Added() const { return m_added; }
    const std::wstring& Port() const { return m_port; }
    const std::wstring& Queue() const { return m_queue; }

private:
    std::wstring m_port;
    std::wstring m_queue;
    peers::TestKey m_key;
    bool m_added = false;
};

// Writes `job` through a stream of `address` on the peer's port and
// expects the peer to receive it.
void ExpectJobReceived(Orvane::Address* address, const std::string& job)
{
    std::string received;
    std::mutex lock;
    LoopbackPeer peer(LoopbackPeer::Record(&received, &lock), LoopbackPeer::PortChoice::StreamRange);
    ASSERT_NE(nullptr, address);
    Orvane::Stream* stream = nullptr;
    ASSERT_EQ(0u, address->CreateStream(peer.Port(), &stream));
    ASSERT_NE(nullptr, stream);
    unsigned long written = 0;
    EXPECT_EQ(0u, stream->Write(job.data(), static_cast<unsigned long>(job.size()), &written));
    EXPECT_EQ(0u, stream->Close());
    stream->Dispose();
    EXPECT_EQ(0u, address->Dispose());
    for (int attempt = 0; attempt < 250; ++attempt) {
        {
            const std::lock_guard<std::mutex> guard(lock);
            if (received.size() >= job.size()) {
                break;
            }
        }
        Sleep(20);
    }
    const std::lock_guard<std::mutex> guard(lock);
    EXPECT_EQ(job, received);
}

TEST(Host, WritesToTheDeviceBehindAPrintQueue)
{
    NetworkQueue queue;
    ASSERT_TRUE(queue.Added()) << "the spooler took no queue";
    Orvane::Address* address = Orvane::CreateAddressFromQueueName(queue.Queue().c_str());
    ASSERT_NE(nullptr, address);
    EXPECT_STREQ(L"127.0.0.1", address->GetAddress());
    ExpectJobReceived(address, "job by queue name");
}

TEST(Host, WritesToTheDeviceBehindAPrintPort)
{
    NetworkQueue queue;
    ASSERT_TRUE(queue.Added()) << "the spooler took no queue";
    ExpectJobReceived(Orvane::CreateAddressFromPortName(queue.Port().c_str()), "job by port name");
}

TEST(Host, NamesThatStandForNoDeviceGiveNoAddress)
{
    EXPECT_EQ(nullptr, Orvane::CreateAddressFromQueueName(L"Orvane Host no such queue"));
    EXPECT_EQ(nullptr, Orvane::CreateAddressFromPortName(L"usb999"));
}

}  // namespace
