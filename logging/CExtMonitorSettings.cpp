#include "logging/CExtMonitorSettings.h"

#include "logging/CLogSettingsReader.h"
#include "winapi/IComApi.h"

namespace QVLogging {

namespace {

// In-process, handler, local and remote servers.
constexpr DWORD kMonitorContext = CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER
    | CLSCTX_REMOTE_SERVER;

}  // namespace

CExtMonitorSettings::CExtMonitorSettings()
    : m_strCLSID(std::make_unique<std::wstring>()), m_strLastClass(std::make_unique<std::wstring>())
{
}

// The process is ending: the monitor is not called any more.
CExtMonitorSettings::~CExtMonitorSettings()
{
    if (m_bComInitialized) {
        g_pComApi->CoUninitialize();
    }
}

void CExtMonitorSettings::ReadExtMonitorSettings(HKEY processKey, const std::wstring& processName)
{
    std::wstring classId;
    if (!CLogSettingsReader::ReadString(processKey, L"ExtMonitorCLSID", classId) || classId.empty()) {
        return;
    }
    m_ulFlags = 0;
    CLogSettingsReader::ReadDword(processKey, L"ExtMonitorFlags", m_ulFlags);
    // The monitor is made again only when its class identifier changed.
    if (classId == *m_strCLSID) {
        return;
    }
    *m_strCLSID = classId;
    CLSID clsid = {};
    if (FAILED(g_pComApi->CLSIDFromString(classId.c_str(), &clsid))) {
        return;
    }
    // Counted as started here only when it was, so that the end of the
    // process leaves a caller's own apartment alone.
    if (!m_bComInitialized) {
        m_bComInitialized = SUCCEEDED(g_pComApi->CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
    }
    Notify(kExtMonitorDetach, processName.c_str());
    if (FAILED(g_pComApi->CoCreateInstance(clsid, nullptr, kMonitorContext, IID_IExtMonitor,
                                           reinterpret_cast<void**>(&m_pMonitor)))) {
        m_pMonitor = nullptr;
        return;
    }
    std::wstring parameterFile;
    CLogSettingsReader::ReadString(processKey, L"ExtMonitorParmFile", parameterFile);
    Notify(kExtMonitorParameterFile, parameterFile.c_str());
}

HRESULT CExtMonitorSettings::Notify(int kind, const wchar_t* text)
{
    if (m_pMonitor == nullptr || text == nullptr) {
        return E_NOTIMPL;
    }
    const BSTR value = g_pComApi->SysAllocString(text[0] != L'\0' ? text : L"<unknown>");
    if (value == nullptr) {
        return E_NOTIMPL;
    }
    HRESULT hr = S_OK;
    switch (kind) {
    case kExtMonitorParameterFile:
        hr = m_pMonitor->SetParameterFile(value, value);
        break;
    case kExtMonitorDetach:
        hr = m_pMonitor->Detach(value);
        m_pMonitor->Release();
        m_pMonitor = nullptr;
        break;
    case kExtMonitorClassChanged:
        if (*m_strLastClass != text) {
            if (m_ulFlags & kExtMonitorSendClasses) {
                hr = m_pMonitor->ClassChanged(value);
            }
            *m_strLastClass = text;
        }
        break;
    case kExtMonitorFunctionEntered:
        if (m_ulFlags & kExtMonitorSendEntries) {
            hr = m_pMonitor->FunctionEntered(value);
        }
        break;
    case kExtMonitorFunctionExited:
        if (m_ulFlags & kExtMonitorSendExits) {
            hr = m_pMonitor->FunctionExited(value);
        }
        break;
    default:
        break;
    }
    g_pComApi->SysFreeString(value);
    return hr;
}

}  // namespace QVLogging
