#pragma once

#include "api/DornRTLMIBConnection.h"
#include "utils/IDisposableImpl.h"

namespace Orvane {

// Management objects of a USB device, named by its print port.
class USBDornRTLMIBConnection : public DornRTLMIBConnection, public IDisposableImpl {
public:
    using DornRTLMIBConnection::DornRTLMIBConnection;
    using DornRTLMIBConnection::Initialize;

    void Initialize(const wchar_t* port) override;

    const char* GetRuntimeTypeName() const override { return QVUtils::UndecoratedTypeName(typeid(*this)); }
};

}  // namespace Orvane
