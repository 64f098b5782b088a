// An external trace monitor for the tests: an in-process component server
// with two classes. Each object writes what it is told, one line a call, to
// the file it is given as its parameter file ("SetParameterFile <file>",
// "Detach <process>", "ClassChanged <name>", "FunctionEntered <name>",
// "FunctionExited <name>", and "Released" when its last reference goes).
//   {5E1F0B3A-7C2D-4E8F-9A61-0B2C3D4E5F60}  answers every call with S_OK
//   {5E1F0B3A-7C2D-4E8F-9A61-0B2C3D4E5F61}  writes the same and fails every call
// Built for the tests only.
#include <windows.h>
#include <objbase.h>
#include <oleauto.h>

#include <atomic>
#include <string>

#include "logging/IExtMonitor.h"

namespace {

const CLSID kRecording = {0x5e1f0b3a, 0x7c2d, 0x4e8f, {0x9a, 0x61, 0x0b, 0x2c, 0x3d, 0x4e, 0x5f, 0x60}};
const CLSID kFailing = {0x5e1f0b3a, 0x7c2d, 0x4e8f, {0x9a, 0x61, 0x0b, 0x2c, 0x3d, 0x4e, 0x5f, 0x61}};

CRITICAL_SECTION g_lock;

class Monitor : public QVLogging::IExtMonitor {
public:
    explicit Monitor(HRESULT answer) : m_answer(answer) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override
    {
        if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, QVLogging::IID_IExtMonitor)) {
            *ppv = static_cast<QVLogging::IExtMonitor*>(this);
            AddRef();
            return S_OK;
        }
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_count; }
    ULONG STDMETHODCALLTYPE Release() override
    {
        const ULONG count = --m_count;
        if (count == 0) {
            Record(L"Released", nullptr);
            delete this;
        }
        return count;
    }
    HRESULT STDMETHODCALLTYPE Unused3() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unused4() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unused5() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unused6() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetParameterFile(BSTR name, BSTR) override
    {
        EnterCriticalSection(&g_lock);
        m_file = name ? name : L"";
        LeaveCriticalSection(&g_lock);
        return Record(L"SetParameterFile", name);
    }
    HRESULT STDMETHODCALLTYPE Detach(BSTR process) override { return Record(L"Detach", process); }
    HRESULT STDMETHODCALLTYPE ClassChanged(BSTR name) override { return Record(L"ClassChanged", name); }
    HRESULT STDMETHODCALLTYPE FunctionEntered(BSTR name) override { return Record(L"FunctionEntered", name); }
    HRESULT STDMETHODCALLTYPE FunctionExited(BSTR name) override { return Record(L"FunctionExited", name); }

private:
    HRESULT Record(const wchar_t* call, const wchar_t* text)
    {
        std::wstring line = call;
        if (text) {
            line += std::wstring(L" ") + text;
        }
        line += L"\n";
        EnterCriticalSection(&g_lock);
        const HANDLE file = m_file.empty() ? INVALID_HANDLE_VALUE
                                           : CreateFileW(m_file.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ, nullptr,
                                                         OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (file != INVALID_HANDLE_VALUE) {
            const int bytes = WideCharToMultiByte(CP_UTF8, 0, line.c_str(), static_cast<int>(line.size()), nullptr, 0,
                                                  nullptr, nullptr);
            std::string utf8(static_cast<size_t>(bytes), '\0');
            WideCharToMultiByte(CP_UTF8, 0, line.c_str(), static_cast<int>(line.size()), &utf8[0], bytes, nullptr,
                                nullptr);
            DWORD written = 0;
            WriteFile(file, utf8.data(), static_cast<DWORD>(utf8.size()), &written, nullptr);
            CloseHandle(file);
        }
        LeaveCriticalSection(&g_lock);
        return m_answer;
    }

    std::atomic<ULONG> m_count{1};
    HRESULT m_answer;
    std::wstring m_file;
};

class ClassFactory : public IClassFactory {
public:
    explicit ClassFactory(HRESULT answer) : m_answer(answer) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override
    {
        if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_IClassFactory)) {
            *ppv = static_cast<IClassFactory*>(this);
            return S_OK;
        }
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID riid, void** ppv) override
    {
        *ppv = nullptr;
        if (outer) {
            return CLASS_E_NOAGGREGATION;
        }
        Monitor* monitor = new Monitor(m_answer);
        const HRESULT hr = monitor->QueryInterface(riid, ppv);
        monitor->Release();
        return hr;
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

private:
    HRESULT m_answer;
};

ClassFactory g_recording(S_OK);
ClassFactory g_failing(E_FAIL);

}  // namespace

extern "C" {

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID)
{
    if (reason == DLL_PROCESS_ATTACH) {
        InitializeCriticalSection(&g_lock);
    }
    return TRUE;
}

__declspec(dllexport) HRESULT WINAPI DllGetClassObject(REFCLSID clsid, REFIID riid, void** ppv)
{
    if (IsEqualCLSID(clsid, kRecording)) {
        return g_recording.QueryInterface(riid, ppv);
    }
    if (IsEqualCLSID(clsid, kFailing)) {
        return g_failing.QueryInterface(riid, ppv);
    }
    *ppv = nullptr;
    return CLASS_E_CLASSNOTAVAILABLE;
}

__declspec(dllexport) HRESULT WINAPI DllCanUnloadNow()
{
    return S_FALSE;
}

}  // extern "C"
