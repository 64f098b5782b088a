#pragma once

#include <windows.h>
#include <oleauto.h>

namespace QVLogging {

// The external monitor's interface, {46C071BD-4AB9-4CED-B72B-9976370F007E}:
// a foreign component of which the library knows five operations, at slots
// 7 to 11. The four slots between IUnknown and them are never called.
inline constexpr IID IID_IExtMonitor = {
    0x46c071bd, 0x4ab9, 0x4ced, {0xb7, 0x2b, 0x99, 0x76, 0x37, 0x0f, 0x00, 0x7e}};

struct IExtMonitor : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Unused3() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused4() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused5() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused6() = 0;
    virtual HRESULT STDMETHODCALLTYPE SetParameterFile(BSTR name, BSTR value) = 0;
    virtual HRESULT STDMETHODCALLTYPE Detach(BSTR processName) = 0;
    virtual HRESULT STDMETHODCALLTYPE ClassChanged(BSTR name) = 0;
    virtual HRESULT STDMETHODCALLTYPE FunctionEntered(BSTR name) = 0;
    virtual HRESULT STDMETHODCALLTYPE FunctionExited(BSTR name) = 0;
};

}  // namespace QVLogging
