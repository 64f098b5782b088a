#include "iostack/VarloLoader.h"

#include "utils/StringUtils.h"

namespace Orvane {

namespace {

const wchar_t* const kLibraries[] = {L"zqcvarlo.dll", L"zqpvarlo.dll"};

using OpenProc = BYTE (*)(const char* port);
using EventProc = BYTE (*)(HANDLE event);
using TruthProc = BYTE (*)();
using LockProc = BYTE (*)(void* a, void* b, DWORD c);
using UnlockProc = BYTE (*)(void* a, void* b);

template <typename T>
T As(FARPROC entry)
{
    return reinterpret_cast<T>(reinterpret_cast<void*>(entry));
}

}  // namespace

VarloLoader::VarloLoader(QVWinApi::IKernelApi* kernelApi) : BaseVarloLoader(kernelApi, 2, kLibraries) {}

FARPROC VarloLoader::EitherEntry(const wchar_t* name, const wchar_t* secondForm)
{
    FARPROC entry = GetProcAddress(name);
    return entry != nullptr ? entry : GetProcAddress(secondForm);
}

bool VarloLoader::OpenInterrupt(const wchar_t* port)
{
    const auto call = As<OpenProc>(EitherEntry(L"OpenInterrupt", L"_OpenInterrupt@4"));
    if (call == nullptr) {
        return false;
    }
    const std::string text = StringUtils::WideToUtf8(port != nullptr ? port : L"");
    return call(text.c_str()) != 0;
}

bool VarloLoader::WaitForInterruptEvent(HANDLE event)
{
    const auto call = Entry<EventProc>(L"WaitForInterruptEvent");
    return call != nullptr && call(event) != 0;
}

bool VarloLoader::CancelInterrupt()
{
    const auto call = As<TruthProc>(EitherEntry(L"CancelInterrupt", L"_CancelInterrupt@0"));
    return call != nullptr && call() != 0;
}

bool VarloLoader::CloseInterrupt()
{
    const auto call = As<TruthProc>(EitherEntry(L"CloseInterrupt", L"_CloseInterrupt@0"));
    return call != nullptr && call() != 0;
}

bool VarloLoader::ExclusiveBulkLock(void* a, void* b, unsigned long c)
{
    const auto call = Entry<LockProc>(L"ExclusiveBulkLock");
    return call != nullptr && call(a, b, c) != 0;
}

bool VarloLoader::ExclusiveBulkUnlock(void* a, void* b)
{
    const auto call = Entry<UnlockProc>(L"ExclusiveBulkUnlock");
    return call != nullptr && call(a, b) != 0;
}

}  // namespace Orvane
