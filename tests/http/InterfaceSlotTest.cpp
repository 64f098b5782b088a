// The vtable order of the HTTP client's two interfaces, read from the
// compiler's own member function pointers: the request parameters with
// their 50 operations and the destructor last, and the client with the
// destructor first.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "doubles/VtableSlots.h"
#include "http/IHTTPClient.h"
#include "http/IHTTPNavigateParams.h"

using namespace QVIOStack;
using doubles::SlotOf;

namespace {

TEST(InterfaceSlots, RequestParametersHaveTheir50OperationsInOrderAndTheDestructorLast)
{
    using P = IHTTPNavigateParams;
    using SetHeaderMap = void (P::*)(const std::map<std::wstring, std::wstring>&);
    using SetHeaderText = void (P::*)(const wchar_t*);
    const std::vector<size_t> slots = {
        SlotOf(&P::GetURI), SlotOf(&P::SetURI),
        SlotOf(&P::GetUserName), SlotOf(&P::SetUserName),
        SlotOf(&P::GetPassword), SlotOf(&P::SetPassword),
        SlotOf(&P::GetHTTPRequestMethod), SlotOf(&P::SetHTTPRequestMethod),
        SlotOf(&P::GetExtraHeaders),
        SlotOf(static_cast<SetHeaderMap>(&P::SetExtraHeaders)),
        SlotOf(static_cast<SetHeaderText>(&P::SetExtraHeaders)),
        SlotOf(&P::GetExtraHeader), SlotOf(&P::AddExtraHeader),
        SlotOf(&P::GetDataType), SlotOf(&P::SetDataType),
        SlotOf(&P::GetDataLength), SlotOf(&P::SetDataLength),
        SlotOf(&P::GetData), SlotOf(&P::SetData),
        SlotOf(&P::GetFlags), SlotOf(&P::SetFlags),
        SlotOf(&P::GetContentBuffer), SlotOf(&P::SetContentBuffer),
        SlotOf(&P::GetSendStatusParam), SlotOf(&P::SetSendStatusParam),
        SlotOf(&P::GetReadStatusParam), SlotOf(&P::SetReadStatusParam),
        SlotOf(&P::GetReadContentParam), SlotOf(&P::SetReadContentParam),
        SlotOf(&P::GetSendStatusCallback), SlotOf(&P::SetSendStatusCallback),
        SlotOf(&P::GetReadStatusCallback), SlotOf(&P::SetReadStatusCallback),
        SlotOf(&P::GetReadContentCallback), SlotOf(&P::SetReadContentCallback),
        SlotOf(&P::GetAuthScheme), SlotOf(&P::SetAuthScheme),
        SlotOf(&P::TriedAuthenticating), SlotOf(&P::SetTriedAuthenticating),
        SlotOf(&P::GetRealm), SlotOf(&P::SetRealm),
        SlotOf(&P::GetOpaque), SlotOf(&P::SetOpaque),
        SlotOf(&P::GetNonce), SlotOf(&P::SetNonce),
        SlotOf(&P::GetCNonce), SlotOf(&P::SetCNonce),
        SlotOf(&P::IncrNonceCount),
        SlotOf(&P::ResetNonceCount),
        SlotOf(&P::GetHTTPMethodText),
    };
    ASSERT_EQ(50u, slots.size());
    doubles::ExpectSlotRun<P>(slots, 0, 2);
}

TEST(InterfaceSlots, ClientHasTheDestructorFirstAndThen23OperationsInOrder)
{
    using C = IHTTPClient;
    using NavigateParams = unsigned long (C::*)(IHTTPNavigateParams*, QVUtils::IProgress*);
    using NavigateURI = unsigned long (C::*)(const wchar_t*, unsigned long, QVUtils::IProgress*);
    const std::vector<size_t> slots = {
        SlotOf(&C::Initialize),
        SlotOf(&C::SetRoot), SlotOf(&C::GetRoot),
        SlotOf(&C::OpenSession),
        SlotOf(&C::CloseSession),
        SlotOf(static_cast<NavigateParams>(&C::Navigate)),
        SlotOf(static_cast<NavigateURI>(&C::Navigate)),
        SlotOf(&C::SetUserName), SlotOf(&C::SetPassword),
        SlotOf(&C::GetRequest),
        SlotOf(&C::GetDeviceConnection),
        SlotOf(&C::GetStatusCode),
        SlotOf(&C::GetHeader), SlotOf(&C::GetHeaderLength),
        SlotOf(&C::GetContent),
        SlotOf(&C::GetContentLength),
        SlotOf(&C::GetContentType),
        SlotOf(&C::GetHeaderEntry),
        SlotOf(&C::GetHeaders),
        SlotOf(&C::SetStatusCode),
        SlotOf(&C::SetContent),
        SlotOf(&C::SetHeaders),
        SlotOf(&C::ResetRequest),
    };
    ASSERT_EQ(23u, slots.size());
    // The reference counting base, which has no destructor, shares the
    // table and comes first with its six operations; the destructor's two
    // entries follow and the client's own operations come right behind.
    doubles::ExpectSlotRun<C>(slots, 6 + 2, 0);
}

}  // namespace
