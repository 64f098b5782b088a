// Port names of any content and length: the resolver's classification of
// the numbered local ports (LPT, DOT4, USB, terminal service, FireWire) and
// the pattern tests behind it, each against a plain model of the names the
// patterns stand for.
#include <cwchar>
#include <memory>
#include <string>

#include "fuzz/FuzzInput.h"
#include "fuzz/FuzzResolver.h"
#include "fuzz/FuzzTarget.h"
#include "resolver/ResolverPatterns.h"
#include "resolver/ResolverUtils.h"

namespace {

using fuzz::Check;
using fuzz::FuzzInput;
using namespace Orvane;

std::shared_ptr<fuzz::FuzzResolver> g_resolver;

bool Digits(const std::wstring& text, size_t from, size_t count)
{
    if (text.size() != from + count) {
        return false;
    }
    for (size_t i = from; i < text.size(); ++i) {
        if (text[i] < L'0' || text[i] > L'9') {
            return false;
        }
    }
    return true;
}

// USB001 and the like: the prefix, three digits, not 000, nothing more.
bool NumberedName(const std::wstring& name, const std::wstring& prefix)
{
    return name.compare(0, prefix.size(), prefix) == 0 && Digits(name, prefix.size(), 3)
        && name.compare(prefix.size(), 3, L"000") != 0;
}

bool LptName(const std::wstring& name)
{
    if (name.size() < 5 || name.compare(0, 3, L"LPT") != 0 || name.back() != L':') {
        return false;
    }
    const std::wstring number = name.substr(3, name.size() - 4);
    if (number.empty() || number.size() > 3 || number[0] == L'0' || !Digits(number, 0, number.size())) {
        return false;
    }
    return std::stoi(number) <= 256;
}

// Wide text from the input, two bytes a character, up to a zero one;
// `ascii` folds each character into printable ASCII, where names live.
std::wstring Name(FuzzInput& in, size_t max, bool ascii)
{
    std::wstring text;
    while (in.Left() > 0 && text.size() < max) {
        const uint8_t low = in.Byte();
        wchar_t c = static_cast<wchar_t>(ascii ? low : low | in.Byte() << 8);
        if (c == 0) {
            break;
        }
        if (ascii && (c < 0x20 || c > 0x7E)) {
            c = static_cast<wchar_t>(0x20 + c % 0x5F);
        }
        text += c;
    }
    return text;
}

uint32_t RunPortName(const unsigned char* data, size_t size)
{
    FuzzInput in(data, size);
    const uint8_t flags = in.Byte();
    const std::wstring name = Name(in, flags & 1 ? 3000 : 40, !(flags & 2));
    // The patterns on their own, on text of any length.
    const bool usb = MatchWholeString(name.c_str(), USB_PORT_PATTERN);
    Check(usb == NumberedName(name, L"USB"), "the USB pattern differs from the model");
    Check(MatchWholeString(name.c_str(), DOT4_PORT_PATTERN) == NumberedName(name, L"DOT4_"),
          "the DOT4 pattern differs from the model");
    Check(MatchWholeString(name.c_str(), TS_PORT_PATTERN) == NumberedName(name, L"TS"),
          "the terminal service pattern differs from the model");
    Check(MatchWholeString(name.c_str(), LPT_PORT_PATTERN) == LptName(name), "the LPT pattern differs from the model");
    // A capture never writes past its bound, whatever the text.
    static const wchar_t* kCapturing[] = {UNC_SERVER_PATTERN, BRACKET_ADDRESS_PATTERN, IPV4_PATTERN,
                                          IPV4_PORT_PATTERN, URL_HOST_PATTERN, LPT_PORT_PATTERN};
    wchar_t out[kCaptureChars + 1];
    for (const wchar_t* pattern : kCapturing) {
        out[kCaptureChars] = L'#';
        out[0] = L'\0';
        if (CaptureSubString(name.c_str(), out, pattern, 1)) {
            Check(wcslen(out) < kCaptureChars && name.find(out) != std::wstring::npos,
                  "a capture that is not a piece of the text");
        }
        Check(out[kCaptureChars] == L'#', "a capture wrote past its bound");
    }

    // The classification, as the search runs it on a matched queue's port.
    fuzz::FuzzResolver& resolver = *g_resolver;
    resolver.Start(name, L"Fuzz printer");
    const bool local = resolver.LocalPrinter();
    // A name longer than the resolver's texts is kept cut.
    const std::wstring held = name.substr(0, kResolverTextChars - 1);
    const bool lpt = LptName(held);
    const bool dot4 = NumberedName(held, L"DOT4_");
    const bool firewire = held.compare(0, 5, L"1394_") == 0;
    // No queue is listed in the test prefix, so USB and terminal service
    // ports, which look their queue up again, stay unresolved.
    Check(local == (lpt || dot4 || firewire),
          "local port classification differs from the model");
    if (local) {
        const unsigned long expected = lpt ? CX_TYPE_LPT : dot4 ? CX_TYPE_DOT4 : CX_TYPE_FIREWIRE;
        Check(resolver.Types() == expected, "a local port of the wrong type");
        Check(resolver.PortID() == held, "the port's identity is not its name");
        const size_t numberAt = lpt ? 3 : 5;
        const unsigned long number = numberAt < held.size() ? std::wcstol(held.c_str() + numberAt, nullptr, 10) : 0;
        Check(resolver.PortNumber() == number, "a port number read from the wrong place");
    }
    return (local ? 1 : 0) | (usb ? 2 : 0) | (lpt ? 4 : 0) | (dot4 ? 8 : 0) | (firewire ? 16 : 0);
}

const fuzz::TargetRegistration kRegistration{{
    "port_names",
    {fuzz::CorpusFolder("port_names")},
    {"USB", "DOT4_", "TS", "LPT", "1394_", ":", "\\\\", "//", "http://", "WSD-", "[", "]", "255", "256", "000"},
    8192,
    30000,
    0,
    [] { g_resolver = fuzz::FuzzResolver::Make(); },
    [] { g_resolver.reset(); },
    RunPortName,
}};

}  // namespace
