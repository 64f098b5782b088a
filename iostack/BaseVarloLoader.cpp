#include "iostack/BaseVarloLoader.h"

#include <windows.h>

#include "utils/StringUtils.h"

namespace Orvane {

namespace {

using OpenBulkProc = BYTE (*)(const char* port);
using TransferProc = BYTE (*)(void* buffer, DWORD* size);
using CountProc = DWORD (*)();
using TruthProc = BYTE (*)();
using TimeoutProc = void (*)(DWORD ms);

}  // namespace

BaseVarloLoader::BaseVarloLoader(QVWinApi::IKernelApi* kernelApi, size_t count, const wchar_t* const* names)
    : LibraryLoader(kernelApi, count, names)
{
}

bool BaseVarloLoader::OpenBulk(const wchar_t* port)
{
    const auto call = Entry<OpenBulkProc>(L"OpenBulk");
    if (call == nullptr) {
        return false;
    }
    const std::string text = StringUtils::WideToUtf8(port != nullptr ? port : L"");
    return call(text.c_str()) != 0;
}

bool BaseVarloLoader::WriteBulk(const void* buffer, unsigned long* size)
{
    const auto call = Entry<TransferProc>(L"WriteBulk");
    return call != nullptr && call(const_cast<void*>(buffer), size) != 0;
}

bool BaseVarloLoader::ReadBulk(void* buffer, unsigned long* size)
{
    const auto call = Entry<TransferProc>(L"ReadBulk");
    return call != nullptr && call(buffer, size) != 0;
}

unsigned long BaseVarloLoader::BytesAvailable()
{
    const auto call = Entry<CountProc>(L"BytesAvailable");
    return call != nullptr ? call() : 0;
}

bool BaseVarloLoader::CloseBulk()
{
    const auto call = Entry<TruthProc>(L"CloseBulk");
    return call != nullptr && call() != 0;
}

unsigned long BaseVarloLoader::GetLastStatus()
{
    const auto call = Entry<CountProc>(L"GetLastStatus");
    return call != nullptr ? call() : 0;
}

unsigned long BaseVarloLoader::SetOpenTimeout(unsigned long ms)
{
    const auto call = Entry<TimeoutProc>(L"SetOpenTimeout");
    if (call == nullptr) {
        return 0;
    }
    call(ms);
    return ms;
}

unsigned long BaseVarloLoader::SetTimeout(unsigned long ms)
{
    const auto call = Entry<TimeoutProc>(L"SetTimeout");
    if (call == nullptr) {
        return 0;
    }
    call(ms);
    return ms;
}

}  // namespace Orvane
