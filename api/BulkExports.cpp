// The bulk functions: one channel per thread, kept in the thread's slot.
// The stream and the notifier are made from the slot's address on first
// need; every function works on the calling thread's slot only.
#include "orvane64_bulk.h"

#include <string>

#include "api/BulkThreadSlots.h"
#include "iostack/VarloLoader.h"
#include "logging/LogTrace.h"
#include "orvane64.h"
#include "winapi/IKernelApi.h"

QV_LOG_SOURCE_FILE()

namespace Orvane {

namespace {

constexpr int kBulkStreamPort = 80;
constexpr unsigned long kBulkOpenTimeout = 18000;
constexpr unsigned long kBulkReadTimeout = 1000;
constexpr unsigned long kBulkWriteTimeout = 3000;
constexpr unsigned long kBytesAvailableTimeout = 200;
constexpr unsigned long kFlushChunk = 2048;
constexpr int kFlushReads = 30;

// A port name from UTF-8; empty if it cannot be converted.
std::wstring PortName(const char* port)
{
    if (port == nullptr) {
        return std::wstring();
    }
    const int length = g_pKernelApi->MultiByteToWideChar(CP_UTF8, 0, port, -1, nullptr, 0);
    if (length <= 0) {
        return std::wstring();
    }
    std::wstring wide(static_cast<size_t>(length), L'\0');
    g_pKernelApi->MultiByteToWideChar(CP_UTF8, 0, port, -1, &wide[0], length);
    wide.resize(static_cast<size_t>(length) - 1);
    return wide;
}

Address* AddressOfPort(const char* port)
{
    const std::wstring name = PortName(port);
    return CreateAddressFromPortName(name.c_str());
}

// The slot of a thread with an open channel; null otherwise.
BulkSlot* OpenSlot()
{
    BulkSlot* slot = BulkThreadSlots::Current();
    return slot != nullptr && slot->address != nullptr ? slot : nullptr;
}

// The thread's stream, made with this API's timeouts on first need; null
// when the thread has no channel or no stream can be made.
Stream* ThreadStream()
{
    BulkSlot* slot = OpenSlot();
    if (slot == nullptr) {
        return nullptr;
    }
    if (slot->stream == nullptr) {
        Stream* stream = nullptr;
        if (slot->address->CreateStream(kBulkStreamPort, &stream) != 0 || stream == nullptr) {
            return nullptr;
        }
        stream->SetOpenTimeout(kBulkOpenTimeout);
        stream->SetReadTimeout(kBulkReadTimeout);
        stream->SetWriteTimeout(kBulkWriteTimeout);
        slot->stream = stream;
    }
    return slot->stream;
}

// The thread's notifier, made on first need; null as for the stream.
Notifier* ThreadNotifier()
{
    BulkSlot* slot = OpenSlot();
    if (slot == nullptr) {
        return nullptr;
    }
    if (slot->notifier == nullptr) {
        Notifier* notifier = nullptr;
        if (slot->address->CreateNotifier(&notifier) != 0 || notifier == nullptr) {
            return nullptr;
        }
        slot->notifier = notifier;
    }
    return slot->notifier;
}

}  // namespace

}  // namespace Orvane

using Orvane::AddressOfPort;
using Orvane::BulkThreadSlots;
using Orvane::ThreadNotifier;
using Orvane::ThreadStream;

namespace {

// A read or write of the thread's stream; *size in: the request, out: the
// count, 0 after a failure, untouched with no stream.
template <typename Transfer>
unsigned char TransferBulk(unsigned long* size, Transfer transfer)
{
    Orvane::Stream* stream = ThreadStream();
    if (stream == nullptr) {
        return FALSE;
    }
    unsigned long count = 0;
    const unsigned long status = transfer(stream, *size, &count);
    *size = status == 0 ? count : 0;
    return status == 0 ? TRUE : FALSE;
}

}  // namespace

// An open channel is closed first, and that frees the slot, which is not
// made again: the call after an open one fails, the one after that opens.
extern "C" unsigned char WINAPI OpenBulk(const char* port)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::OpenBulk");
    BulkThreadSlots::MakeSlot();
    unsigned long status = E_FAIL;
    Orvane::BulkSlot* slot = BulkThreadSlots::Current();
    if (slot != nullptr && slot->address != nullptr) {
        CloseBulk();
    }
    Orvane::Address* address = AddressOfPort(port);
    slot = BulkThreadSlots::Current();
    if (slot != nullptr) {
        slot->address = address;
        Orvane::Stream* stream = address != nullptr ? ThreadStream() : nullptr;
        if (stream != nullptr) {
            status = stream->Open();
            FlushBulk();
        }
    } else if (address != nullptr) {
        address->Dispose();
    }
    return status == 0 ? TRUE : FALSE;
}

extern "C" unsigned char WINAPI WriteBulk(const void* buffer, unsigned long* size)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::WriteBulk");
    return TransferBulk(size, [buffer](Orvane::Stream* stream, unsigned long wanted, unsigned long* count) {
        return stream->Write(buffer, wanted, count);
    });
}

extern "C" unsigned char WINAPI ReadBulk(void* buffer, unsigned long* size)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::ReadBulk");
    return TransferBulk(size, [buffer](Orvane::Stream* stream, unsigned long wanted, unsigned long* count) {
        return stream->Read(buffer, wanted, count);
    });
}

// The stream's BytesAvailable is a blocking read: bounded here by a short
// read timeout, the caller's put back after.
extern "C" unsigned long WINAPI BytesAvailable()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::BytesAvailable");
    Orvane::Stream* stream = ThreadStream();
    if (stream == nullptr) {
        return 0;
    }
    const unsigned long saved = stream->GetReadTimeout();
    stream->SetReadTimeout(Orvane::kBytesAvailableTimeout);
    const unsigned long available = stream->BytesAvailable();
    stream->SetReadTimeout(saved);
    return available;
}

// At most 30 reads in all; true exactly when the first one brought data.
extern "C" unsigned char WINAPI FlushBulk()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::FlushBulk");
    Orvane::Stream* stream = ThreadStream();
    if (stream == nullptr) {
        return FALSE;
    }
    unsigned char discarded[Orvane::kFlushChunk];
    unsigned long count = 0;
    if (stream->Read(discarded, sizeof(discarded), &count) != 0) {
        return FALSE;
    }
    unsigned char result = FALSE;
    for (int left = Orvane::kFlushReads; count != 0 && left != 1; --left) {
        result = TRUE;
        if (stream->Read(discarded, sizeof(discarded), &count) != 0) {
            break;
        }
    }
    return result;
}

// The stream is disposed, not closed: its destructor closes it.
extern "C" unsigned char WINAPI CloseBulk()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::CloseBulk");
    if (Orvane::Stream* stream = ThreadStream()) {
        stream->Dispose();
    }
    Orvane::BulkSlot* slot = Orvane::BulkThreadSlots::Current();
    if (slot != nullptr && slot->address != nullptr) {
        slot->address->Dispose();
        slot->address = nullptr;
    }
    Orvane::BulkThreadSlots::FreeSlot();
    return TRUE;
}

extern "C" unsigned long WINAPI GetLastStatus()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::GetLastStatus");
    return 0;
}

extern "C" unsigned long WINAPI GetTimeout()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::GetTimeout");
    Orvane::Stream* stream = ThreadStream();
    return stream != nullptr ? stream->GetReadTimeout() : 0;
}

extern "C" void WINAPI SetTimeout(unsigned long ms)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::SetTimeout");
    if (Orvane::Stream* stream = ThreadStream()) {
        stream->SetReadTimeout(ms);
    }
}

extern "C" void WINAPI SetOpenTimeout(unsigned long ms)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::SetOpenTimeout");
    if (Orvane::Stream* stream = ThreadStream()) {
        stream->SetOpenTimeout(ms);
    }
}

// Opens the channel and tries that notification can be switched on, and
// leaves it off; the interrupt functions make their notifier on first need.
extern "C" unsigned char WINAPI OpenInterrupt(const char* port)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::OpenInterrupt");
    BulkThreadSlots::MakeSlot();
    unsigned long status = E_FAIL;
    Orvane::BulkSlot* slot = BulkThreadSlots::Current();
    if (slot != nullptr && slot->address != nullptr) {
        CloseInterrupt();
    }
    Orvane::Address* address = AddressOfPort(port);
    if (address == nullptr) {
        return FALSE;
    }
    Orvane::Notifier* trial = nullptr;
    status = address->CreateNotifier(&trial);
    if (status != 0 || trial == nullptr) {
        address->Dispose();
        CloseInterrupt();
        return status == 0 ? TRUE : FALSE;
    }
    slot = BulkThreadSlots::Current();
    if (slot != nullptr) {
        slot->address = address;
        status = trial->EnableNotification(true);
        trial->EnableNotification(false);
    } else {
        status = E_FAIL;
        address->Dispose();
    }
    trial->Dispose();
    return status == 0 ? TRUE : FALSE;
}

// Asks the port's address; the thread's channel is not touched.
extern "C" unsigned char WINAPI IsConnected(const char* port)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::IsConnected");
    Orvane::Address* address = AddressOfPort(port);
    if (address == nullptr) {
        return FALSE;
    }
    const BOOL connected = address->IsConnected();
    address->Dispose();
    return connected != 0 ? TRUE : FALSE;
}

// Passed through to the component library; without one on the machine the
// lock counts as taken.
extern "C" unsigned char WINAPI ExclusiveBulkLock(void* a, void* b, unsigned long c)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::ExclusiveBulkLock");
    Orvane::VarloLoader loader;
    return loader.ExclusiveBulkLock(a, b, c) || !loader.IsLoaded() ? TRUE : FALSE;
}

extern "C" unsigned char WINAPI ExclusiveBulkUnlock(void* a, void* b)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::ExclusiveBulkUnlock");
    Orvane::VarloLoader loader;
    return loader.ExclusiveBulkUnlock(a, b) || !loader.IsLoaded() ? TRUE : FALSE;
}

extern "C" unsigned char WINAPI WaitForInterrupt()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::WaitForInterrupt");
    Orvane::Notifier* notifier = ThreadNotifier();
    if (notifier == nullptr || notifier->EnableNotification(true) != 0) {
        return FALSE;
    }
    return notifier->WaitForNotification(INFINITE) == 0 ? TRUE : FALSE;
}

extern "C" unsigned char WINAPI WaitForInterruptEvent(HANDLE event)
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::WaitForInterruptEvent");
    Orvane::Notifier* notifier = ThreadNotifier();
    if (notifier == nullptr || event == nullptr || event == INVALID_HANDLE_VALUE) {
        return FALSE;
    }
    return notifier->EnableNotification(event) == 0 ? TRUE : FALSE;
}

extern "C" unsigned char WINAPI CancelInterrupt()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::CancelInterrupt");
    Orvane::Notifier* notifier = ThreadNotifier();
    return notifier != nullptr && notifier->EnableNotification(false) == 0 ? TRUE : FALSE;
}

extern "C" unsigned char WINAPI CloseInterrupt()
{
    QV_LOG_FUNCTION(g_pOrvaneAPILog, L"Orvane::CloseInterrupt");
    if (Orvane::Notifier* notifier = ThreadNotifier()) {
        notifier->Dispose();
    }
    return CloseBulk();
}
