// A page from a device's web server through an HTTPRequest, with
// credentials for a protected page.
//
//   status-page 192.0.2.7 80 /status
//   status-page 192.0.2.7 80 /digest admin secret
#include <cstdio>
#include <cwchar>

#include "orvane64.h"

int wmain(int argc, wchar_t** argv)
{
    if (argc != 4 && argc != 6) {
        std::fprintf(stderr, "usage: status-page ADDRESS PORT URI [USER PASSWORD]\n");
        return 2;
    }
    Orvane::Address* address = Orvane::CreateAddressFromIPAddress(argv[1]);
    if (address == nullptr) {
        return 1;
    }
    // The request first, the port second. Ports 80 to 8080 (443 and 7627
    // over HTTPS); status 0 with a null request: no request on that port.
    Orvane::HTTPRequest* request = nullptr;
    address->CreateHTTPRequest(&request, static_cast<int>(std::wcstol(argv[2], nullptr, 10)));
    address->Dispose();
    if (request == nullptr) {
        std::fprintf(stderr, "no request on port %ls\n", argv[2]);
        return 1;
    }
    request->SetURI(argv[3]);
    if (argc == 6) {
        // Used only if the device asks (Basic or Digest).
        request->SetUserName(argv[4]);
        request->SetPassword(argv[5]);
    }
    Orvane::HTTPResponse* response = nullptr;
    // 0 for any answer, a 404 too; E_FAIL when no usable answer came.
    if (request->GetResponse(&response) != 0) {
        std::fprintf(stderr, "no answer from %ls\n", argv[1]);
        request->Dispose();
        return 1;
    }
    const wchar_t* type = response->GetContentType();  // null if absent
    std::printf("HTTP %lu, %ls, %lu bytes\n", response->GetStatusCode(), type != nullptr ? type : L"no type",
                response->GetContentAvailable());
    // The body with a zero byte behind it; null when there is none.
    if (const unsigned char* body = response->GetContent()) {
        std::printf("%s\n", reinterpret_cast<const char*>(body));
    }
    request->Dispose();  // the response goes with it
    return 0;
}
