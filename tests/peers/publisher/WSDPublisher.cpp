// A WS-Discovery peer that is not ours: Wine's own publisher (wsdapi),
// announcing a device of the family with the vendor extension. It answers
// each Probe for "zqDevice" with a ProbeMatch and then announces itself
// with a Hello; it ends after `seconds`.
//
// Usage: wsd_publisher.exe VENDOR-HOST DEVICE-UUID SECONDS
#include <winsock2.h>
#include <initguid.h>
#include <windows.h>
#include <ole2.h>
#include <wsdapi.h>

#include <cstdio>
#include <cwchar>
#include <string>

namespace {

std::wstring g_host;
std::wstring g_id;
std::wstring g_uuid;
IWSDXMLContext* g_context = nullptr;
IWSDiscoveryPublisher* g_publisher = nullptr;
WSDXML_ELEMENT* g_extension = nullptr;
WSD_NAME_LIST g_types = {};
WSD_URI_LIST g_xaddrs = {nullptr, L"http://10.77.0.2:80/wsd"};
ULONGLONG g_messageNumber = 1;

const LPCWSTR* Text(const wchar_t* text)
{
    // mingw-w64 declares the text argument as a pointer to a pointer; the
    // function takes the text itself.
    return reinterpret_cast<const LPCWSTR*>(text);
}

// <zq:VendorExtension><d:UUID>...</d:UUID><d:Hostname>...</d:Hostname></zq:VendorExtension>
// with prefixes of Wine's choosing from the suggestions here.
bool BuildExtension()
{
    const std::wstring discovery = g_host + L"/schemas/imaging/con/discovery/2006/09/19";
    const std::wstring dictionaries = g_host + L"/schemas/imaging/con/dictionaries/1.0";
    WSDXML_NAMESPACE* ns = nullptr;
    WSDXML_NAME* extensionName = nullptr;
    WSDXML_NAME* uuidName = nullptr;
    WSDXML_NAME* hostName = nullptr;
    WSDXML_NAME* typeName = nullptr;
    WSDXML_ELEMENT* uuid = nullptr;
    WSDXML_ELEMENT* host = nullptr;
    return SUCCEEDED(g_context->AddNamespace(discovery.c_str(), L"zq", &ns))
        && SUCCEEDED(g_context->AddNamespace(dictionaries.c_str(), L"d", &ns))
        && SUCCEEDED(g_context->AddNameToNamespace(discovery.c_str(), L"VendorExtension", &extensionName))
        && SUCCEEDED(g_context->AddNameToNamespace(discovery.c_str(), L"zqDevice", &typeName))
        && SUCCEEDED(g_context->AddNameToNamespace(dictionaries.c_str(), L"UUID", &uuidName))
        && SUCCEEDED(g_context->AddNameToNamespace(dictionaries.c_str(), L"Hostname", &hostName))
        && SUCCEEDED(WSDXMLBuildAnyForSingleElement(extensionName, nullptr, &g_extension))
        && SUCCEEDED(WSDXMLBuildAnyForSingleElement(uuidName, Text(g_uuid.c_str()), &uuid))
        && SUCCEEDED(WSDXMLBuildAnyForSingleElement(hostName, Text(L"wine-publisher"), &host))
        && SUCCEEDED(WSDXMLAddChild(g_extension, uuid)) && SUCCEEDED(WSDXMLAddChild(g_extension, host))
        && (g_types.Element = typeName, true);
}

bool AsksForOurType(const WSD_SOAP_MESSAGE* message)
{
    const WSD_PROBE* probe = static_cast<const WSD_PROBE*>(message->Body);
    for (const WSD_NAME_LIST* type = probe ? probe->Types : nullptr; type; type = type->Next) {
        if (type->Element && type->Element->LocalName && std::wcscmp(type->Element->LocalName, L"zqDevice") == 0) {
            return true;
        }
    }
    return false;
}

class Notify : public IWSDiscoveryPublisherNotify {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override
    {
        if (riid == IID_IUnknown || riid == IID_IWSDiscoveryPublisherNotify) {
            *out = this;
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE ProbeHandler(const WSD_SOAP_MESSAGE* message, IWSDMessageParameters* parameters) override
    {
        if (!AsksForOurType(message)) {
            return S_OK;
        }
        const HRESULT matched = g_publisher->MatchProbeEx(message, parameters, g_id.c_str(), 1, 1, g_messageNumber++,
                                                          nullptr, &g_types, nullptr, &g_xaddrs, nullptr, nullptr,
                                                          nullptr, nullptr, g_extension);
        const HRESULT hello = g_publisher->PublishEx(g_id.c_str(), 1, 1, g_messageNumber++, nullptr, &g_types,
                                                     nullptr, &g_xaddrs, nullptr, nullptr, nullptr, nullptr,
                                                     g_extension);
        std::printf("probe: match 0x%08lx, hello 0x%08lx\n", static_cast<unsigned long>(matched),
                    static_cast<unsigned long>(hello));
        std::fflush(stdout);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE ResolveHandler(const WSD_SOAP_MESSAGE*, IWSDMessageParameters*) override { return S_OK; }
};

}  // namespace

int wmain(int argc, wchar_t** argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: wsd_publisher VENDOR-HOST DEVICE-UUID SECONDS\n");
        return 2;
    }
    g_host = argv[1];
    g_uuid = argv[2];
    g_id = L"urn:uuid:" + g_uuid;
    const DWORD seconds = std::wcstoul(argv[3], nullptr, 10);
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    Notify notify;
    if (FAILED(WSDXMLCreateContext(&g_context)) || !BuildExtension()
        || FAILED(WSDCreateDiscoveryPublisher(g_context, &g_publisher))
        || FAILED(g_publisher->SetAddressFamily(WSDAPI_ADDRESSFAMILY_IPV4))
        || FAILED(g_publisher->RegisterNotificationSink(&notify))) {
        std::fprintf(stderr, "wsd_publisher: cannot set up Wine's publisher\n");
        return 1;
    }
    std::printf("ready\n");
    std::fflush(stdout);
    // The publisher's own threads answer; this one only bounds its life.
    HANDLE never = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    WaitForSingleObject(never, seconds * 1000);
    g_publisher->UnRegisterNotificationSink(&notify);
    g_publisher->Release();
    return 0;
}
