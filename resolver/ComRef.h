#pragma once

// Holders that give back what the component model hands out, on every path:
// a reference to an object, a text of the task allocator, a property value.
#include <windows.h>
#include <propidl.h>

#include "winapi/IComApi.h"

namespace Orvane {

template <typename T>
class ComRef {
public:
    ComRef() = default;
    ~ComRef() { Reset(); }
    ComRef(const ComRef&) = delete;
    ComRef& operator=(const ComRef&) = delete;

    T* operator->() const { return m_p; }
    T* Get() const { return m_p; }
    explicit operator bool() const { return m_p != nullptr; }
    // The slot a call writes a new reference into; the old one is let go.
    T** Out()
    {
        Reset();
        return &m_p;
    }
    void** OutVoid() { return reinterpret_cast<void**>(Out()); }
    void Reset()
    {
        if (m_p) {
            m_p->Release();
            m_p = nullptr;
        }
    }

private:
    T* m_p = nullptr;
};

class CoTaskText {
public:
    CoTaskText() = default;
    ~CoTaskText() { g_pComApi->CoTaskMemFree(m_p); }
    CoTaskText(const CoTaskText&) = delete;
    CoTaskText& operator=(const CoTaskText&) = delete;

    WCHAR** Out() { return &m_p; }
    // The text, or an empty one when none came back.
    const wchar_t* Text() const { return m_p ? m_p : L""; }

private:
    WCHAR* m_p = nullptr;
};

class PropValue {
public:
    PropValue() { ::PropVariantInit(&m_value); }
    ~PropValue() { g_pComApi->PropVariantClear(&m_value); }
    PropValue(const PropValue&) = delete;
    PropValue& operator=(const PropValue&) = delete;

    PROPVARIANT* Out()
    {
        g_pComApi->PropVariantClear(&m_value);
        return &m_value;
    }
    const PROPVARIANT& operator*() const { return m_value; }
    bool IsText() const { return m_value.vt == VT_LPWSTR; }
    bool IsTextList() const { return m_value.vt == (VT_VECTOR | VT_LPWSTR); }

private:
    PROPVARIANT m_value;
};

// The multi-threaded apartment for the length of a look-up; a thread that
// already has another apartment keeps it.
class ComApartment {
public:
    ComApartment() : m_hr(g_pComApi->CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
    ~ComApartment()
    {
        if (SUCCEEDED(m_hr)) {
            g_pComApi->CoUninitialize();
        }
    }
    ComApartment(const ComApartment&) = delete;
    ComApartment& operator=(const ComApartment&) = delete;

    bool Usable() const { return SUCCEEDED(m_hr) || m_hr == RPC_E_CHANGED_MODE; }

private:
    HRESULT m_hr;
};

}  // namespace Orvane
