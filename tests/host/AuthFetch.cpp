// A host program on the public header and the import library only: one GET
// with credentials, to show what a device that asks for them gives.
//
//   AuthFetch ADDRESS PORT URI [USER PASSWORD]
//
// Output: "status N", then the body. Exit code 0 when an answer came, 1 when
// not, 2 for wrong arguments.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "orvane64.h"

namespace {

std::wstring Wide(const char* text)
{
    const int size = MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0);
    std::wstring wide(size > 0 ? size - 1 : 0, L'\0');
    if (size > 1) {
        MultiByteToWideChar(CP_UTF8, 0, text, -1, wide.data(), size);
    }
    return wide;
}

int Fetch(Orvane::HTTPRequest& request, int argc, char** argv)
{
    request.SetURI(Wide(argv[3]).c_str());
    if (argc == 6) {
        request.SetUserName(Wide(argv[4]).c_str());
        request.SetPassword(Wide(argv[5]).c_str());
    }
    Orvane::HTTPResponse* response = nullptr;
    const unsigned long status = request.GetResponse(&response);
    if (status != 0) {
        std::printf("GetResponse failed with 0x%08lX\n", status);
        return 1;
    }
    std::printf("status %lu\n", response->GetStatusCode());
    if (const unsigned char* content = response->GetContent()) {
        std::fwrite(content, 1, response->GetContentAvailable(), stdout);
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 4 && argc != 6) {
        std::printf("usage: AuthFetch ADDRESS PORT URI [USER PASSWORD]\n");
        return 2;
    }
    Orvane::Address* address = Orvane::CreateAddressFromIPAddress(Wide(argv[1]).c_str());
    if (address == nullptr) {
        std::printf("no address for %s\n", argv[1]);
        return 1;
    }
    Orvane::HTTPRequest* request = nullptr;
    address->CreateHTTPRequest(&request, std::atoi(argv[2]));
    address->Dispose();
    if (request == nullptr) {
        std::printf("no HTTP request on port %s\n", argv[2]);
        return 1;
    }
    const int result = Fetch(*request, argc, argv);
    request->Dispose();
    return result;
}
