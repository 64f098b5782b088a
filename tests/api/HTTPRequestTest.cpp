// The HTTP request and response objects on a scripted HTTP client: what
// reaches the navigate parameters, what GetResponse does with the client's
// result, and the copies a response hands out.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <malloc.h>

#include <cstring>
#include <string>

#include "api/QVHTTPRequest.h"
#include "api/QVHTTPResponse.h"
#include "doubles/MockHTTPClient.h"
#include "http/HTTPStatus.h"

using namespace Orvane;
using doubles::MockHTTPClient;
using ::testing::_;
using ::testing::Invoke;
using ::testing::IsNull;
using ::testing::NiceMock;
using ::testing::Return;
using ::testing::StrEq;

namespace {

constexpr unsigned long kFail = 0x80004005;
constexpr unsigned long kNotImplemented = 0x80004001;

struct HTTPRequestObject : ::testing::Test {
    HTTPRequestObject()
    {
        client->AddRef();
        request->AddRef();
        ON_CALL(*client, Navigate(::testing::An<QVIOStack::IHTTPNavigateParams*>(), _))
            .WillByDefault(Invoke([this](QVIOStack::IHTTPNavigateParams* p, QVUtils::IProgress*) {
                params = p;
                ++navigations;
                return 0UL;
            }));
    }
    ~HTTPRequestObject() override
    {
        if (request != nullptr) {
            request->Dispose();
        }
        client->Dispose();
    }
    // Sends the request and hands back the parameters it went out with.
    QVIOStack::IHTTPNavigateParams& Send()
    {
        HTTPResponse* response = nullptr;
        EXPECT_EQ(0u, request->GetResponse(&response));
        EXPECT_NE(nullptr, response);
        return *params;
    }
    unsigned long MethodSent() { return Send().GetHTTPRequestMethod(); }
    std::wstring HeadersSent() { return Send().GetExtraHeaders(); }

    NiceMock<MockHTTPClient>* client = new NiceMock<MockHTTPClient>();
    HTTPRequest* request = new QVHTTPRequest(client);
    QVIOStack::IHTTPNavigateParams* params = nullptr;
    int navigations = 0;
};

TEST_F(HTTPRequestObject, SetMethodWithGetInLowerCaseSetsGet)
{
    ASSERT_EQ(0u, request->SetMethod(L"post"));
    ASSERT_EQ(2u, MethodSent());
    EXPECT_EQ(0u, request->SetMethod(L"get"));
    EXPECT_EQ(0u, MethodSent());
    std::wstring text;
    ASSERT_TRUE(params->GetHTTPMethodText(text));
    EXPECT_EQ(L"GET ", text);
}

TEST_F(HTTPRequestObject, SetMethodMapsTheFourVerbsInAnyCaseToTheirNumbers)
{
    const struct {
        const wchar_t* verb;
        unsigned long number;
    } table[] = {{L"PUT", 1}, {L"GET", 0}, {L"Post", 2}, {L"dElEtE", 3}, {L"put", 1}};
    for (const auto& row : table) {
        EXPECT_EQ(0u, request->SetMethod(row.verb));
        EXPECT_EQ(row.number, MethodSent()) << row.verb;
    }
}

TEST_F(HTTPRequestObject, SetMethodOutsideTheTableIsNotImplementedAndTheMethodStays)
{
    ASSERT_EQ(0u, request->SetMethod(L"put"));
    for (const wchar_t* verb : {L"PATCH", L"HEAD", L"OPTIONS", L"", static_cast<const wchar_t*>(nullptr)}) {
        EXPECT_EQ(kNotImplemented, request->SetMethod(verb)) << (verb ? verb : L"(null)");
    }
    EXPECT_EQ(1u, MethodSent());
}

TEST_F(HTTPRequestObject, SetMethodWithAVerbThatMerelyStartsLikeOneIsNotImplemented)
{
    ASSERT_EQ(0u, request->SetMethod(L"DELETE"));
    for (const wchar_t* verb : {L"GETX", L"get ", L"POSTS", L"DELETED", L"PUTPUTPUTPUTPUTPUT", L"GE", L" GET"}) {
        EXPECT_EQ(kNotImplemented, request->SetMethod(verb)) << verb;
    }
    EXPECT_EQ(3u, MethodSent());
}

TEST_F(HTTPRequestObject, SetHeaderWithANullValueErasesTheEntry)
{
    request->SetHeader(L"Accept", L"text/html");
    request->SetHeader(L"X-Job", L"7");
    request->SetHeader(L"Accept", nullptr);
    EXPECT_EQ(L"X-Job: 7\r\n", HeadersSent());
}

TEST_F(HTTPRequestObject, SetHeaderReplacesTheValueOfTheSameName)
{
    request->SetHeader(L"X-Job", L"7");
    request->SetHeader(L"X-Job", L"8");
    EXPECT_EQ(L"X-Job: 8\r\n", HeadersSent());
}

TEST_F(HTTPRequestObject, HeadersAreSentInKeyOrderWhateverTheOrderOfTheCalls)
{
    // Plain code units: capitals before small letters, and names differing
    // only in case are two headers.
    request->SetHeader(L"b", L"5");
    request->SetHeader(L"X-a", L"4");
    request->SetHeader(L"Content-Language", L"de");
    request->SetHeader(L"X-A", L"3");
    request->SetHeader(L"A", L"1");
    EXPECT_EQ(L"A: 1\r\nContent-Language: de\r\nX-A: 3\r\nX-a: 4\r\nb: 5\r\n", HeadersSent());
}

TEST_F(HTTPRequestObject, HeaderTextHasNoBlankAfterTheColon)
{
    // The parameters split each line at its first colon: a name holding a
    // colon shows what followed it in the text handed over.
    request->SetHeader(L"a:b", L"c");
    QVIOStack::IHTTPNavigateParams& sent = Send();
    EXPECT_STREQ(L"b:c", sent.GetExtraHeader(L"a"));
}

TEST_F(HTTPRequestObject, AfterTheLastHeaderIsErasedTheOldTextStillGoesOut)
{
    request->SetHeader(L"X-Job", L"7");
    ASSERT_EQ(L"X-Job: 7\r\n", HeadersSent());
    request->SetHeader(L"X-Job", nullptr);
    EXPECT_EQ(L"X-Job: 7\r\n", HeadersSent());
}

TEST_F(HTTPRequestObject, AHeaderErasedAfterItWasSentStaysInTheParameters)
{
    // The parameters take the text in beside what they hold.
    request->SetHeader(L"A", L"1");
    request->SetHeader(L"B", L"2");
    ASSERT_EQ(L"A: 1\r\nB: 2\r\n", HeadersSent());
    request->SetHeader(L"A", nullptr);
    request->SetHeader(L"B", L"3");
    EXPECT_EQ(L"A: 1\r\nB: 3\r\n", HeadersSent());
}

TEST_F(HTTPRequestObject, WithoutHeadersNoneAreSent)
{
    EXPECT_EQ(L"", HeadersSent());
}

TEST_F(HTTPRequestObject, SettersReachTheParameters)
{
    request->SetURI(L"/status.html");
    request->SetUserName(L"admin");
    request->SetPassword(L"orvane");
    request->SetContentType(L"text/xml");
    QVIOStack::IHTTPNavigateParams& sent = Send();
    EXPECT_STREQ(L"/status.html", sent.GetURI());
    EXPECT_STREQ(L"admin", sent.GetUserName());
    EXPECT_STREQ(L"orvane", sent.GetPassword());
    EXPECT_STREQ(L"text/xml", sent.GetDataType());
    EXPECT_EQ(0u, sent.GetHTTPRequestMethod());
    EXPECT_EQ(nullptr, sent.GetData());
}

TEST_F(HTTPRequestObject, SetContentKeepsAPrivateCopy)
{
    char body[] = "hello";
    request->SetContent(body, 5);
    std::memcpy(body, "XXXXX", 5);
    QVIOStack::IHTTPNavigateParams& sent = Send();
    const char* data = static_cast<const char*>(sent.GetData());
    ASSERT_NE(nullptr, data);
    EXPECT_NE(static_cast<const void*>(body), static_cast<const void*>(data));
    EXPECT_EQ("hello", std::string(data, 5));
    // A zero behind the copy: the client reads a body as text.
    EXPECT_EQ('\0', data[5]);
    bool noContentLength = true;
    EXPECT_EQ(5u, sent.GetDataLength(&noContentLength));
    EXPECT_FALSE(noContentLength);
}

TEST_F(HTTPRequestObject, SetContentAgainReplacesTheBody)
{
    request->SetContent("first body", 10);
    request->SetContent("2nd", 3);
    QVIOStack::IHTTPNavigateParams& sent = Send();
    EXPECT_EQ("2nd", std::string(static_cast<const char*>(sent.GetData())));
    EXPECT_EQ(3u, sent.GetDataLength(nullptr));
}

TEST_F(HTTPRequestObject, SetContentOfZeroBytesSendsAnEmptyBody)
{
    request->SetContent("", 0);
    QVIOStack::IHTTPNavigateParams& sent = Send();
    EXPECT_NE(nullptr, sent.GetData());
    EXPECT_EQ(0u, sent.GetDataLength(nullptr));
}

TEST_F(HTTPRequestObject, SetContentWithNullDataSendsNoBody)
{
    request->SetContent("body", 4);
    request->SetContent(nullptr, 4);
    QVIOStack::IHTTPNavigateParams& sent = Send();
    EXPECT_EQ(nullptr, sent.GetData());
    EXPECT_EQ(0u, sent.GetDataLength(nullptr));
}

TEST_F(HTTPRequestObject, GetResponseNavigatesWithItsParametersAndNoProgress)
{
    EXPECT_CALL(*client, Navigate(::testing::An<QVIOStack::IHTTPNavigateParams*>(), IsNull())).Times(2);
    HTTPResponse* response = nullptr;
    EXPECT_EQ(0u, request->GetResponse(&response));
    EXPECT_NE(nullptr, response);
    EXPECT_EQ(0u, request->GetResponse(&response));
}

TEST_F(HTTPRequestObject, AnHTTPErrorStatusIsAResponseNotAFailure)
{
    ON_CALL(*client, GetStatusCode()).WillByDefault(Return(404));
    HTTPResponse* response = nullptr;
    ASSERT_EQ(0u, request->GetResponse(&response));
    ASSERT_NE(nullptr, response);
    EXPECT_EQ(404u, response->GetStatusCode());
}

TEST_F(HTTPRequestObject, NavigateFailureIsEFailAndLeavesTheOldResponse)
{
    ON_CALL(*client, GetStatusCode()).WillByDefault(Return(200));
    HTTPResponse* first = nullptr;
    ASSERT_EQ(0u, request->GetResponse(&first));
    const unsigned long references = client->References();

    EXPECT_CALL(*client, Navigate(::testing::An<QVIOStack::IHTTPNavigateParams*>(), _))
        .WillOnce(Return(QVIOStack::Error_IO_Read_Fail));
    HTTPResponse* out = reinterpret_cast<HTTPResponse*>(0x1234);
    EXPECT_EQ(kFail, request->GetResponse(&out));
    EXPECT_EQ(reinterpret_cast<HTTPResponse*>(0x1234), out);
    // The first response is still there: no reference was given back.
    EXPECT_EQ(references, client->References());
    EXPECT_EQ(200u, first->GetStatusCode());
}

TEST_F(HTTPRequestObject, ASecondGetResponseReplacesTheFirstResponse)
{
    const unsigned long before = client->References();
    HTTPResponse* first = nullptr;
    ASSERT_EQ(0u, request->GetResponse(&first));
    EXPECT_EQ(before + 1, client->References());  // the response's own reference
    HTTPResponse* second = nullptr;
    ASSERT_EQ(0u, request->GetResponse(&second));
    ASSERT_NE(nullptr, second);
    // The first response was deleted, with its reference, before the second
    // was made: the count is the same.
    EXPECT_EQ(before + 1, client->References());
    EXPECT_EQ(2, navigations);
}

TEST_F(HTTPRequestObject, GetResponseWithNoPlaceForTheResponseFailsWithoutSending)
{
    EXPECT_EQ(kFail, request->GetResponse(nullptr));
    EXPECT_EQ(0, navigations);
}

TEST_F(HTTPRequestObject, TheRequestHoldsOneReferenceOnItsClientAndGivesItBack)
{
    bool destroyed = false;
    auto* own = new NiceMock<MockHTTPClient>(&destroyed);
    own->AddRef();
    HTTPRequest* other = new QVHTTPRequest(own);
    EXPECT_EQ(1u, other->AddRef());
    EXPECT_EQ(2u, own->References());
    HTTPResponse* response = nullptr;
    ASSERT_EQ(0u, other->GetResponse(&response));
    EXPECT_EQ(3u, own->References());
    EXPECT_EQ(0u, other->Dispose());
    EXPECT_EQ(1u, own->References());
    EXPECT_FALSE(destroyed);
    EXPECT_EQ(0u, own->Dispose());
    EXPECT_TRUE(destroyed);
}

struct HTTPResponseObject : ::testing::Test {
    HTTPResponseObject() { client->AddRef(); }
    ~HTTPResponseObject() override
    {
        delete response;
        client->Dispose();
    }
    void Body(const unsigned char* bytes, unsigned long length)
    {
        ON_CALL(*client, GetContent()).WillByDefault(Return(bytes));
        ON_CALL(*client, GetContentLength()).WillByDefault(Return(length));
    }

    NiceMock<MockHTTPClient>* client = new NiceMock<MockHTTPClient>();
    HTTPResponse* response = new QVHTTPResponse(client);
};

TEST_F(HTTPResponseObject, StatusAndHeadersComeFromTheClient)
{
    EXPECT_CALL(*client, GetStatusCode()).WillOnce(Return(201));
    EXPECT_CALL(*client, GetHeaderEntry(StrEq(L"Server"))).WillOnce(Return(L"devsim"));
    EXPECT_CALL(*client, GetHeaderEntry(StrEq(L"Content-Type"))).WillOnce(Return(L"text/html"));
    EXPECT_EQ(201u, response->GetStatusCode());
    EXPECT_STREQ(L"devsim", response->GetHeader(L"Server"));
    EXPECT_STREQ(L"text/html", response->GetContentType());
}

TEST_F(HTTPResponseObject, AnAbsentHeaderIsNull)
{
    EXPECT_EQ(nullptr, response->GetHeader(L"Location"));
    EXPECT_EQ(nullptr, response->GetContentType());
}

TEST_F(HTTPResponseObject, ContentAvailableIsTheContentLengthAndZeroWhenThatIsNegative)
{
    const struct {
        unsigned long length;
        unsigned long available;
    } table[] = {{5, 5}, {0, 0}, {0x7FFFFFFF, 0x7FFFFFFF}, {0xFFFFFFFF, 0}, {0x80000000, 0}};
    for (const auto& row : table) {
        EXPECT_CALL(*client, GetContentLength()).WillOnce(Return(row.length));
        EXPECT_EQ(row.available, response->GetContentAvailable()) << row.length;
    }
}

TEST_F(HTTPResponseObject, ContentOfAResponseWithNoBodyIsNull)
{
    EXPECT_CALL(*client, GetContent()).Times(0);
    Body(nullptr, 0xFFFFFFFF);
    EXPECT_EQ(nullptr, response->GetContent());
    Body(nullptr, 0);
    EXPECT_EQ(nullptr, response->GetContent());
}

TEST_F(HTTPResponseObject, ContentOfFiveBytesIsSixBytesOfStorageTheLastZero)
{
    static const unsigned char bytes[] = {'h', 'e', 'l', 'l', 'o', 'X', 'Y'};
    Body(bytes, 5);
    const unsigned char* content = response->GetContent();
    ASSERT_NE(nullptr, content);
    EXPECT_NE(bytes, content);
    EXPECT_EQ(6u, _msize(const_cast<unsigned char*>(content)));
    EXPECT_EQ(0, std::memcmp("hello\0", content, 6));
}

TEST_F(HTTPResponseObject, ContentIsCopiedAgainAtEachCall)
{
    unsigned char bytes[] = {'a', 'b', 'c'};
    Body(bytes, 3);
    const unsigned char* first = response->GetContent();
    ASSERT_NE(nullptr, first);
    EXPECT_STREQ("abc", reinterpret_cast<const char*>(first));
    bytes[1] = 'X';
    const unsigned char* second = response->GetContent();
    ASSERT_NE(nullptr, second);
    EXPECT_STREQ("aXc", reinterpret_cast<const char*>(second));
}

TEST_F(HTTPResponseObject, WithALengthOfZeroTheFormerCopyIsReturned)
{
    static const unsigned char bytes[] = {'a', 'b'};
    Body(bytes, 2);
    const unsigned char* first = response->GetContent();
    ASSERT_NE(nullptr, first);
    Body(nullptr, 0);
    EXPECT_EQ(first, response->GetContent());
    EXPECT_STREQ("ab", reinterpret_cast<const char*>(response->GetContent()));
}

TEST_F(HTTPResponseObject, ALengthWithoutABodyReadGivesNull)
{
    // An answer to HEAD, or a redirection, announces a length whose body
    // was never read.
    Body(nullptr, 42);
    EXPECT_EQ(nullptr, response->GetContent());
}

TEST_F(HTTPResponseObject, TheResponseHoldsOneReferenceOnTheClientUntilDeleted)
{
    EXPECT_EQ(2u, client->References());
    delete response;
    response = nullptr;
    EXPECT_EQ(1u, client->References());
}

}  // namespace
