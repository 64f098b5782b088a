// A host program on the public header and the import library only: fetches
// one page with an HTTPRequest, prints the status, the length available and
// the headers named, and writes the body to a file.
//
//   HttpFetch ADDRESS PORT URI BODYFILE [HEADER...]
//
// Output: "status N", "available N", then "Name: value" for each named
// header the answer has. Exit code 0 when an answer came, 1 when not, 2 for
// wrong arguments.
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
    Orvane::HTTPResponse* response = nullptr;
    const unsigned long status = request.GetResponse(&response);
    if (status != 0) {
        std::printf("GetResponse failed with 0x%08lX\n", status);
        return 1;
    }
    std::printf("status %lu\n", response->GetStatusCode());
    const unsigned long available = response->GetContentAvailable();
    std::printf("available %lu\n", available);
    for (int i = 5; i < argc; ++i) {
        if (const wchar_t* value = response->GetHeader(Wide(argv[i]).c_str())) {
            std::printf("%s: %ls\n", argv[i], value);
        }
    }
    FILE* body = std::fopen(argv[4], "wb");
    if (body == nullptr) {
        std::printf("cannot write %s\n", argv[4]);
        return 1;
    }
    const unsigned char* content = response->GetContent();
    if (content != nullptr) {
        std::fwrite(content, 1, available, body);
    }
    std::fclose(body);
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 5) {
        std::printf("usage: HttpFetch ADDRESS PORT URI BODYFILE [HEADER...]\n");
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
