// A first job: a file sent to a printer named by IP address, print queue or
// print port, through a Stream on the printer's raw port.
//
//   first-job --ip 192.0.2.7 job.prn
//   first-job --queue "Office MFP" job.prn
//   first-job --port IP_192.0.2.7 job.prn
#include <cstdio>
#include <cwchar>
#include <fstream>
#include <iterator>
#include <string>

#include "orvane64.h"

namespace {

Orvane::Address* NameTheDevice(const wchar_t* how, const wchar_t* name)
{
    if (std::wcscmp(how, L"--ip") == 0) {
        return Orvane::CreateAddressFromIPAddress(name);
    }
    if (std::wcscmp(how, L"--queue") == 0) {
        return Orvane::CreateAddressFromQueueName(name);
    }
    if (std::wcscmp(how, L"--port") == 0) {
        return Orvane::CreateAddressFromPortName(name);
    }
    return nullptr;
}

}  // namespace

int wmain(int argc, wchar_t** argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: first-job --ip|--queue|--port NAME FILE\n");
        return 2;
    }
    std::ifstream file(argv[3], std::ios::binary);
    const std::string job((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());

    // Null when nothing usable stands behind the name.
    Orvane::Address* address = NameTheDevice(argv[1], argv[2]);
    if (address == nullptr) {
        std::fprintf(stderr, "no device behind %ls\n", argv[2]);
        return 1;
    }
    // 9100: the raw print port of a network printer, the print function of a
    // USB one. Status 0 with a null stream: no stream on that port.
    Orvane::Stream* stream = nullptr;
    address->CreateStream(9100, &stream);
    address->Dispose();  // the stream lives on without it
    if (stream == nullptr) {
        std::fprintf(stderr, "no stream on port 9100\n");
        return 1;
    }

    stream->SetWriteTimeout(10000);  // milliseconds; the default is 30 s
    unsigned long written = 0;
    // The first Write opens the connection.
    const unsigned long status =
        stream->Write(job.data(), static_cast<unsigned long>(job.size()), &written);
    if (status != 0) {
        // E_FAIL; the system error of the last Open, Read or Close tells why:
        // 1460 time-out, 55 device gone, 170 busy, 995 aborted, 31 other.
        std::fprintf(stderr, "write failed: 0x%08lx, system error %lu\n", status,
                     stream->GetSystemErrorCode());
    } else {
        std::printf("sent %lu bytes to %ls\n", written, argv[2]);
    }
    stream->Close();
    stream->Dispose();
    return status == 0 ? 0 : 1;
}
