// A host built from the installed SDK alone. It sends a file as a job to a
// device by its IP address, makes one call of the bulk functions from C,
// and prints the version resources of the orvane64.dll it loaded and of
// the files it is given.
//   sdk-host ADDRESS PORT JOB_FILE [FILE...]
#include <windows.h>

#include <cstdio>
#include <cwchar>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "orvane64.h"

extern "C" void PrintBulkCall(void);

namespace {

std::string Narrow(const std::wstring& text)
{
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, nullptr, 0, nullptr, nullptr);
    std::string narrow(size > 0 ? size - 1 : 0, '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, narrow.data(), size, nullptr, nullptr);
    return narrow;
}

std::wstring StringValue(const std::vector<char>& block, const wchar_t* name)
{
    wchar_t path[64];
    std::swprintf(path, 64, L"\\StringFileInfo\\040904b0\\%ls", name);
    void* value = nullptr;
    UINT length = 0;
    if (!VerQueryValueW(block.data(), path, &value, &length) || length == 0) {
        return L"(none)";
    }
    return static_cast<const wchar_t*>(value);
}

// "version NAME: FILEVERSION a.b.c.d PRODUCT ORIGINALNAME", or the reason
// there is none.
void PrintVersion(const std::wstring& file)
{
    const std::string name = Narrow(file.substr(file.find_last_of(L"\\/") + 1));
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeW(file.c_str(), &ignored);
    std::vector<char> block(size);
    if (size == 0 || !GetFileVersionInfoW(file.c_str(), 0, size, block.data())) {
        std::printf("version %s: none (error %lu)\n", name.c_str(), GetLastError());
        return;
    }
    VS_FIXEDFILEINFO* fixed = nullptr;
    UINT length = 0;
    if (!VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&fixed), &length)) {
        std::printf("version %s: no fixed part\n", name.c_str());
        return;
    }
    std::printf("version %s: %s %lu.%lu.%lu.%lu %s %s\n", name.c_str(),
                Narrow(StringValue(block, L"FileVersion")).c_str(),
                HIWORD(fixed->dwFileVersionMS), LOWORD(fixed->dwFileVersionMS),
                HIWORD(fixed->dwFileVersionLS), LOWORD(fixed->dwFileVersionLS),
                Narrow(StringValue(block, L"ProductName")).c_str(),
                Narrow(StringValue(block, L"OriginalFilename")).c_str());
}

// Writes the whole file through one stream; prints what was written.
bool SendJob(const wchar_t* ip, int port, const wchar_t* jobFile)
{
    std::ifstream in(jobFile, std::ios::binary);
    if (!in) {
        std::printf("job: cannot open %s\n", Narrow(jobFile).c_str());
        return false;
    }
    const std::vector<char> job((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    Orvane::Address* address = Orvane::CreateAddressFromIPAddress(ip);
    if (address == nullptr) {
        std::printf("job: no address for %s\n", Narrow(ip).c_str());
        return false;
    }
    Orvane::Stream* stream = nullptr;
    const unsigned long created = address->CreateStream(port, &stream);
    address->Dispose();
    if (created != 0 || stream == nullptr) {
        std::printf("job: no stream on port %d (status 0x%lx)\n", port, created);
        return false;
    }
    unsigned long written = 0;
    const unsigned long status =
        stream->Write(job.data(), static_cast<unsigned long>(job.size()), &written);
    stream->Dispose();
    std::printf("job: status %lu, %lu of %zu bytes written to %s:%d\n", status, written, job.size(),
                Narrow(ip).c_str(), port);
    return status == 0 && written == job.size();
}

}  // namespace

int wmain(int argc, wchar_t** argv)
{
    if (argc < 4) {
        std::printf("usage: sdk-host ADDRESS PORT JOB_FILE [FILE...]\n");
        return 2;
    }
    std::printf("package version: %s\n", ORVANE_PACKAGE_VERSION);
    wchar_t dll[MAX_PATH] = L"";
    GetModuleFileNameW(GetModuleHandleW(L"orvane64.dll"), dll, MAX_PATH);
    std::printf("loaded: %s\n", Narrow(dll).c_str());

    const bool sent = SendJob(argv[1], _wtoi(argv[2]), argv[3]);
    PrintBulkCall();
    PrintVersion(dll);
    for (int i = 4; i < argc; ++i) {
        PrintVersion(argv[i]);
    }
    std::fflush(stdout);
    return sent ? 0 : 1;
}
