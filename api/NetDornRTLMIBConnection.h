#pragma once

#include "api/DornRTLMIBConnection.h"
#include "utils/IDisposableImpl.h"

namespace Orvane {

// Management objects of a network device, named by its address; the object
// after an identifier is asked for with the run-time's multiple form.
class NetDornRTLMIBConnection : public DornRTLMIBConnection, public IDisposableImpl {
public:
    using DornRTLMIBConnection::DornRTLMIBConnection;
    using DornRTLMIBConnection::Initialize;

    void Initialize(const wchar_t* address) override;
    unsigned long GetNextValue(const wchar_t* oid, wchar_t* nextOidOut, unsigned long nextOidSize,
                               VARIANT* out) override;

    const char* GetRuntimeTypeName() const override { return QVUtils::UndecoratedTypeName(typeid(*this)); }
};

}  // namespace Orvane
