#include "iostack/FXVarloChannelLoader.h"

namespace Orvane {

namespace {

const wchar_t* const kLibraries[] = {L"FXVarloChannel.dll", L"FXVarloChannel_x64.dll"};

}  // namespace

FXVarloChannelLoader::FXVarloChannelLoader(QVWinApi::IKernelApi* kernelApi)
    : BaseVarloLoader(kernelApi, 2, kLibraries)
{
}

}  // namespace Orvane
