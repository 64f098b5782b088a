#pragma once

#include <windows.h>

#include <cstddef>

namespace Orvane {

// What the name given to Resolve is: exactly one of these bits. The same
// member later holds the remote port type.
enum : unsigned long {
    RESOLVE_TYPE_SHARE = 1,
    RESOLVE_TYPE_PRINTER = 2,
    RESOLVE_TYPE_PORT = 4,
    RESOLVE_TYPE_SERVER = 8,
};
enum : unsigned long {
    REMOTE_PORT_TYPE_UNKNOWN = 0,
    REMOTE_PORT_TYPE_SHARE = 1,
    REMOTE_PORT_TYPE_REDIRECTED = 16,
};

// How the device behind a name is reached: flags that the search steps
// gather.
enum : unsigned long {
    CX_TYPE_USB = 0x002,
    CX_TYPE_FIREWIRE = 0x004,
    CX_TYPE_LPT = 0x008,
    CX_TYPE_DOT4 = 0x010,
    CX_TYPE_TCPIP = 0x020,
    CX_TYPE_IPX = 0x040,
    CX_TYPE_LPR = 0x080,
    CX_TYPE_DLC = 0x100,
    CX_TYPE_REDIRECTED = 0x200,
};
// The flags of a port that is connected to this machine.
constexpr unsigned long kDirectConnectTypes = CX_TYPE_USB | CX_TYPE_FIREWIRE | CX_TYPE_LPT | CX_TYPE_DOT4;

// Tells what stands behind a print queue, port, share or server name of
// this machine. Made, asked once with Resolve, read with the getters, and
// destroyed.
class IResolver {
public:
    virtual ~IResolver() = default;
    // S_OK when the search found the device; E_FAIL otherwise, a time-out
    // included; E_INVALIDARG for a null, empty or over-long name or type 0.
    virtual HRESULT Resolve(const wchar_t* name, unsigned long type) = 0;
    // The getters give E_PENDING until Resolve has run, and then report what
    // the search gathered, also after a failure.
    virtual HRESULT GetConnectionType(unsigned long* type) = 0;
    // The IPv4 address, else the preferred IPv6 one, with the port number.
    // ERROR_NOT_SUPPORTED (50) without CX_TYPE_TCPIP.
    virtual HRESULT GetTCPIPAddress(wchar_t* buffer, size_t chars, unsigned long* port) = 0;
    // The local port's name. ERROR_NOT_SUPPORTED (50) without a direct
    // connection; `reserved` must be given and is not written.
    virtual HRESULT GetDirectConnectPort(wchar_t* buffer, size_t chars, unsigned long* reserved) = 0;
    // The queue of a port given, the port of a queue given, or the device's
    // host name.
    virtual HRESULT GetQueueName(wchar_t* buffer, size_t chars) = 0;
};

}  // namespace Orvane
