// The HTTP response reader, through Navigate on a scripted connection: the
// device's bytes arrive in reads cut where the input says. Raw inputs must
// end in a known status without harm; framed inputs (a body the target
// frames itself, in chunks with extensions and trailers, by length, or
// ended by the device) must come back byte for byte.
#include <string>
#include <vector>

#include "fuzz/FuzzInput.h"
#include "fuzz/FuzzTarget.h"
#include "fuzz/Mutator.h"
#include "http/CHTTPNavigateParams.h"
#include "http/HTTPStatus.h"
#include "http/HTTPTestSupport.h"
#include "iostack/IOStatus.h"

namespace {

using fuzz::Check;
using fuzz::FuzzInput;
using http_test::ReadStep;
using http_test::ScriptedDevice;
using QVIOStack::CHTTPClient;
using QVIOStack::CHTTPNavigateParams;

enum Mode : uint8_t { kRaw, kChunked, kKnownLength, kCloseDelimited, kModes };

bool KnownStatus(unsigned long status)
{
    // 1 is the positive end of a body cut by a closed connection, which
    // Navigate overwrites with the result of closing.
    const unsigned long family = status & 0xFFFFFF00;
    return status == 0 || family == 0x83E8F500 || family == 0x83E8F400 || status == QVIOStack::Error_Aborted
        || status == QVIOStack::Error_Connection;
}

std::string ContentOf(CHTTPClient& client)
{
    const unsigned char* content = client.GetContent();
    return content ? std::string(reinterpret_cast<const char*>(content), client.GetContentLength()) : std::string();
}

// The reads that deliver `bytes`: cut at points the random source picks,
// or one byte each; `keep` positions are always cut.
std::vector<ReadStep> Cut(const std::string& bytes, uint8_t how, const std::vector<size_t>& keep = {})
{
    std::vector<size_t> cuts(keep);
    if (how == 0) {
        for (size_t i = 1; i < bytes.size(); ++i) {
            cuts.push_back(i);
        }
    } else {
        fuzz::Random random(how);
        for (size_t at = random.Below(64) + 1; at < bytes.size(); at += random.Below(how) + 1) {
            cuts.push_back(at);
        }
    }
    std::sort(cuts.begin(), cuts.end());
    cuts.erase(std::unique(cuts.begin(), cuts.end()), cuts.end());
    cuts.erase(std::remove_if(cuts.begin(), cuts.end(), [&](size_t c) { return c == 0 || c >= bytes.size(); }),
               cuts.end());
    return http_test::CutAt(bytes, cuts);
}

// A chunk extension or trailer value from the input, without line ends.
std::string LineText(FuzzInput& in, size_t max)
{
    std::string text = in.Text(max);
    for (char& c : text) {
        if (c == '\r' || c == '\n') {
            c = ' ';
        }
    }
    return text;
}

const char kHex[] = "0123456789abcdef0123456789ABCDEF";

std::string Hex(size_t value, bool upper)
{
    std::string text;
    do {
        text.insert(text.begin(), kHex[(value & 15) + (upper ? 16 : 0)]);
        value >>= 4;
    } while (value != 0);
    return text;
}

uint32_t RunRaw(FuzzInput& in, uint8_t how)
{
    const uint8_t flags = in.Byte();
    ScriptedDevice device;
    device.quiet = flags & 1 ? QVIOStack::IOError_Fail : QVIOStack::IOError_Timeout;
    const std::string response = in.Rest();
    device.Answer(Cut(response, how));
    CHTTPNavigateParams params;
    params.SetURI(L"/fuzz");
    static const unsigned long kMethods[] = {0, 1, 4, 0};
    params.SetHTTPRequestMethod(kMethods[(flags >> 1) & 3]);
    CHTTPClient client(&device.Connection());
    const unsigned long status = client.Navigate(&params, nullptr);
    Check(KnownStatus(status), "Navigate gave an unknown status " + std::to_string(status));
    Check(device.read.size() <= response.size(), "the reads took more than the device sent");
    Check(client.GetHeaderLength() <= response.size(), "a header longer than the device sent");
    return static_cast<uint32_t>(status & 0xFF) << 8 | (client.GetStatusCode() & 0xFF);
}

// A body of the input's bytes, framed by the target, read back whole.
uint32_t RunFramed(FuzzInput& in, Mode mode, uint8_t how)
{
    const uint8_t flags = in.Byte();
    const bool continueFirst = flags & 1;
    std::string header = "HTTP/1.1 200 OK\r\n";
    std::string body;
    std::string framed;
    std::string trailerValue;
    if (mode == kChunked) {
        const bool trailer = flags & 2;
        header += "Transfer-Encoding: chunked\r\n";
        if (trailer) {
            header += "Trailer: X-Fuzz\r\n";
        }
        while (in.Left() > 0) {
            const size_t size = in.Byte() % 64 + (flags & 4 ? in.Byte() * 64 : 0);
            std::string data;
            for (size_t i = 0; i < size && in.Left() > 0; ++i) {
                data += static_cast<char>(in.Byte());
            }
            if (data.empty()) {
                break;
            }
            const uint8_t form = in.Byte();
            std::string line = Hex(data.size(), form & 1);
            if (form & 2) {
                line = std::string(form >> 5, '0') + line;
            }
            if (form & 4) {
                line += ";" + LineText(in, 32);
            }
            framed += line + "\r\n" + data + "\r\n";
            body += data;
        }
        framed += "0\r\n";
        if (trailer) {
            trailerValue = LineText(in, 64);
            // A value is a header's only when it has a first character.
            trailerValue.insert(trailerValue.begin(), 'v');
            framed += "X-Fuzz: " + trailerValue + "\r\n";
        }
        framed += "\r\n";
    } else {
        body = in.Rest();
        if (mode == kKnownLength) {
            header += "Content-Length: " + std::to_string(body.size()) + "\r\n";
        }
        framed = body;
    }
    header += "\r\n";

    ScriptedDevice device;
    device.quiet = mode == kCloseDelimited && (flags & 8) ? QVIOStack::IOError_Fail : QVIOStack::IOError_Timeout;
    std::string response = header + framed;
    std::vector<size_t> keep;
    if (continueFirst) {
        // What follows the 100 in the same read is dropped: the final
        // response comes in a read of its own.
        const std::string interim = "HTTP/1.1 100 Continue\r\n\r\n";
        response = interim + response;
        keep.push_back(interim.size());
    }
    device.Answer(Cut(response, how, keep));
    CHTTPNavigateParams params;
    params.SetURI(L"/fuzz");
    CHTTPClient client(&device.Connection());
    const unsigned long status = client.Navigate(&params, nullptr);
    Check(status == 0, "a well-framed response failed with " + std::to_string(status));
    Check(client.GetStatusCode() == 200, "status " + std::to_string(client.GetStatusCode()) + " instead of 200");
    Check(ContentOf(client) == body, "the content differs from the body sent (" + std::to_string(body.size())
                                         + " bytes sent, " + std::to_string(client.GetContentLength()) + " read)");
    if (!trailerValue.empty()) {
        const wchar_t* value = client.GetHeaderEntry(L"X-Fuzz");
        Check(value != nullptr && std::wstring(value).size() == trailerValue.size(), "the trailer was lost");
    }
    return mode;
}

uint32_t RunResponse(const unsigned char* data, size_t size)
{
    FuzzInput in(data, size);
    const uint8_t selector = in.Byte();
    const uint8_t how = in.Byte();
    const Mode mode = static_cast<Mode>(selector % kModes);
    return mode == kRaw ? RunRaw(in, how) : RunFramed(in, mode, how);
}

const fuzz::TargetRegistration kRegistration{{
    "http_response",
    {fuzz::CorpusFolder("http_response")},
    {"HTTP/1.1 ", "HTTP/1.0 ", " 200 OK", " 100 Continue", " 401 ", " 204 ", "\r\n\r\n", "Content-Length: ",
     "Transfer-Encoding: chunked", "Transfer-Encoding: ", "Trailer: ", "Chunked", ";ext=1", "0\r\n\r\n", "1A",
     ": ", "X-A: b\r\n", "Connection: close"},
    16384,
    30000,
    0,
    nullptr,
    nullptr,
    RunResponse,
}};

}  // namespace
