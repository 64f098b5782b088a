#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

// The resolver's vocabulary: pattern tests, bounded text copies, registry
// reads of the port monitors' keys, the spooler's queues and transceive
// channel, and host name and address look-ups. Free functions with no state
// but the static buffers of GetErrorMessage and GetDWORDFromRegistry.
namespace Orvane {

// The capacity, in wide characters, of every text the resolver keeps.
constexpr size_t kResolverTextChars = 2048;
// What CaptureSubString writes at most, whatever the caller's buffer.
constexpr size_t kCaptureChars = 1025;
// The transceive buffers of the monitors' "GetConfigInfo" and "DeviceID".
constexpr DWORD kPortDataBytes = 964;
constexpr DWORD kWsdDataBytes = 520;

// The platform's PORT_DATA_1, the answer of a monitor's "GetConfigInfo".
struct PortData1 {
    wchar_t sztPortName[64];
    DWORD dwVersion;
    DWORD dwProtocol;
    DWORD cbSize;
    DWORD dwReserved;
    wchar_t sztHostAddress[49];
    wchar_t sztSNMPCommunity[33];
    DWORD dwDoubleSpool;
    wchar_t sztQueue[33];
    wchar_t sztIPAddress[16];
    BYTE Reserved[540];
    DWORD dwPortNumber;
    DWORD dwSNMPEnabled;
    DWORD dwSNMPDevIndex;
};
static_assert(sizeof(PortData1) == kPortDataBytes, "the platform's PORT_DATA_1 has 964 bytes");

// One print queue as the spooler lists it; a field the spooler leaves null
// stays empty.
struct PrinterRecord {
    std::optional<std::wstring> serverName;
    std::optional<std::wstring> printerName;
    std::optional<std::wstring> shareName;
    std::optional<std::wstring> portName;
    DWORD attributes = 0;
};

// The words a search step's "Return: %s" line ends with.
inline const wchar_t* StepOutcome(bool success)
{
    return success ? L"SUCCESS" : L"FAILED";
}

// Patterns. Null or empty text or pattern gives false.
bool MatchWholeString(const wchar_t* text, const wchar_t* pattern);
bool SearchString(const wchar_t* text, const wchar_t* pattern);
// Searches `text` and copies group `group` into `out` (at most
// kCaptureChars). True only when the search matched and the group holds
// text; `out` is written only then.
bool CaptureSubString(const wchar_t* text, wchar_t* out, const wchar_t* pattern, size_t group);

// The length when a terminator stands within the first `max` characters,
// else 0.
size_t GetStringLength(const wchar_t* text, size_t max);
// Bounded copies and concatenation: S_OK, E_INVALIDARG, or
// STRSAFE_E_INSUFFICIENT_BUFFER (0x8007007A) with the text cut and
// terminated.
HRESULT StrWcsCpy(wchar_t* dest, size_t destChars, const wchar_t* src);
HRESULT StrWcsNCpy(wchar_t* dest, size_t destChars, const wchar_t* src, size_t maxChars);
HRESULT StrWcsCat(wchar_t* dest, size_t destChars, const wchar_t* src);

// The system's text for a code, without its line end, in a static buffer of
// 100 characters that the next call overwrites.
const wchar_t* GetErrorMessage(DWORD code);

// Registry reads; failures are logged with the system's text.
LSTATUS OpenKey(HKEY parent, const wchar_t* subkey, REGSAM access, HKEY* out);
LSTATUS QueryValue(HKEY key, const wchar_t* name, DWORD* type, BYTE* data, DWORD* size);
// True, and `out` written, only for a non-empty REG_DWORD value.
bool GetDWORDFromRegistry(HKEY key, const wchar_t* name, DWORD* out);
// The port's key below the first of the six monitors that has it, left open
// for the caller; `isEquitrac` is 1 when that monitor is Equitrac's.
bool GetPortKey(const wchar_t* portName, HKEY* key, int* isEquitrac);
// The UNC path behind a redirected LPTn: port (HKCU "Network\LPTn").
bool GetLptRemotePath(const wchar_t* portName, wchar_t* path);

bool IsWindowsVistaOrLater();

// The local queues and connections, in the spooler's order. False when
// there are none or the spooler can't list them.
bool GetPrinters(std::vector<PrinterRecord>* records, DWORD* count);
// Opens a queue, or a transceive channel, without the spooler's cache where
// the platform has it. The caller closes the handle with ClosePrinter.
BOOL GetPrinterHandle(const wchar_t* name, HANDLE* handle);
// The monitor's channel to `portName` on `serverName`: "\\server\,XcvPort port".
BOOL GetXcvHandle(const wchar_t* serverName, const wchar_t* portName, HANDLE* handle);
// "GetConfigInfo" into kPortDataBytes of `data`; true when the monitor's
// status is 0.
bool GetPortData(HANDLE handle, BYTE* data);
// "DeviceID" into kWsdDataBytes of `data`: the device's identity text.
bool GetWsdData(HANDLE handle, BYTE* data);

// Looks a host name up: the last IPv4 address found in `ipv4`, and the IPv6
// addresses in the rows of `ipv6List`, at most `ipv6Rows` of them, counted
// in `ipv6Count`. True when either family gave an address.
bool GetIpAddrByHost(const wchar_t* hostName, std::wstring& ipv4,
                     wchar_t (*ipv6List)[kResolverTextChars], size_t ipv6Rows, int* ipv6Count);
// The host name of a dotted IPv4 address.
bool GetHostByIpAddr(const wchar_t* ipv4Text, std::wstring& hostName);

}  // namespace Orvane
