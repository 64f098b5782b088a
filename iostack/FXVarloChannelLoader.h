#pragma once

#include "iostack/BaseVarloLoader.h"

namespace Orvane {

// The component library of the web configuration channel,
// "FXVarloChannel.dll" or else "FXVarloChannel_x64.dll".
class FXVarloChannelLoader : public BaseVarloLoader {
public:
    // Takes ownership of `kernelApi`; null makes a platform one.
    explicit FXVarloChannelLoader(QVWinApi::IKernelApi* kernelApi = nullptr);
};

}  // namespace Orvane
