// orvane64: talk to printers and multifunction devices over any connection.
//
// A host names a device and receives an Address; from it a Stream (bulk I/O),
// a Notifier (device interrupts), an HTTPRequest (HTTP to the device) and a
// MIBConnection (management objects). Every object handed out comes with one
// reference; give it back with Dispose(). Status results are 0 on success,
// E_FAIL (0x80004005) or E_NOTIMPL (0x80004001) otherwise.
#pragma once

#include <windows.h>
#include <oaidl.h>

#if defined(ORVANE_EXPORTS)
#define ORVANE_API __declspec(dllexport)
#else
#define ORVANE_API __declspec(dllimport)
#endif

namespace Orvane {

// Reference counting of every public object. Both overloads of a pair reach
// the same counter; the count starts at 0 and Dispose deletes at 0.
class ORVANE_API IDisposable {
public:
    virtual unsigned long AddRef() = 0;
    virtual unsigned long AddRef() const = 0;
    virtual unsigned long Dispose() = 0;
    virtual unsigned long Dispose() const = 0;
};

class Stream;
class Notifier;
class HTTPRequest;
class HTTPResponse;
class MIBConnection;

class ORVANE_API Address : public virtual IDisposable {
public:
    Address();
    Address(const Address&);
    virtual ~Address();
    Address& operator=(const Address&);

    virtual BOOL IsConnected() = 0;
    virtual const wchar_t* GetAddress() = 0;
    // Port 80..9100. Status 0 with a null stream means: no stream on that port.
    virtual unsigned long CreateStream(int port, Stream** out) = 0;
    virtual unsigned long CreateNotifier(Notifier** out) = 0;
    // Port 80..8080 (443 and 7627 secure). Status 0 with a null request
    // means: no request on that port. Note the argument order.
    virtual unsigned long CreateHTTPRequest(HTTPRequest** out, int port) = 0;
    virtual unsigned long CreateMIBConnection(MIBConnection** out) = 0;
};

class ORVANE_API Stream : public virtual IDisposable {
public:
    Stream();
    Stream(const Stream&);
    virtual ~Stream();
    Stream& operator=(const Stream&);

    virtual unsigned long Open() = 0;
    virtual unsigned long Write(const void* buffer, unsigned long size, unsigned long* written) = 0;
    // Blocks for up to the read timeout; what it fetched is kept for Read.
    virtual unsigned long BytesAvailable() = 0;
    virtual unsigned long Read(void* buffer, unsigned long size, unsigned long* read) = 0;
    virtual unsigned long Close() = 0;
    // The system error number of the last Open, Read or Close.
    virtual unsigned long GetSystemErrorCode() = 0;
    virtual unsigned long GetOpenTimeout() = 0;
    virtual void SetOpenTimeout(unsigned long ms) = 0;
    virtual unsigned long GetReadTimeout() = 0;
    virtual void SetReadTimeout(unsigned long ms) = 0;
    virtual unsigned long GetWriteTimeout() = 0;
    virtual void SetWriteTimeout(unsigned long ms) = 0;
};

class ORVANE_API Notifier : public virtual IDisposable {
public:
    Notifier();
    Notifier(const Notifier&);
    virtual ~Notifier();
    Notifier& operator=(const Notifier&);

    virtual unsigned long EnableNotification(HANDLE event) = 0;
    virtual unsigned long EnableNotification(bool enable) = 0;
    virtual unsigned long WaitForNotification(unsigned long timeoutMs) = 0;
    virtual bool IsNotificationEnabled() = 0;
    virtual bool IsNotificationPending() = 0;
};

// One request to the device's web server, sent again as often as wanted.
// Text arguments are zero-terminated wide strings.
class ORVANE_API HTTPRequest : public virtual IDisposable {
public:
    HTTPRequest();
    HTTPRequest(const HTTPRequest&);
    virtual ~HTTPRequest();
    HTTPRequest& operator=(const HTTPRequest&);

    // The path, for example L"/status.html".
    virtual void SetURI(const wchar_t* uri) = 0;
    // Credentials for a device that asks for them (basic or digest).
    virtual void SetUserName(const wchar_t* name) = 0;
    virtual void SetPassword(const wchar_t* password) = 0;
    // GET (the default), PUT, POST or DELETE in any case; E_NOTIMPL for
    // anything else, which leaves the method as it was.
    virtual unsigned long SetMethod(const wchar_t* method) = 0;
    // Sets or replaces a header; a null value removes it. Names are
    // case-sensitive here and go out in the order of their code units.
    virtual void SetHeader(const wchar_t* name, const wchar_t* value) = 0;
    virtual void SetContentType(const wchar_t* type) = 0;
    // The body, copied: the caller may free its data afterwards. The body
    // goes out as text, up to its first zero byte.
    virtual void SetContent(const void* data, unsigned long size) = 0;
    // Sends the request and waits for the whole answer. An HTTP error such
    // as 404 is an answer: the status is 0 and GetStatusCode tells. E_FAIL
    // if nothing usable came back; the former response then stays. The
    // response belongs to the request and is valid until the next
    // GetResponse or until the request is disposed.
    virtual unsigned long GetResponse(HTTPResponse** out) = 0;
};

// The answer to an HTTPRequest. Not reference counted: owned by the request
// that made it.
class ORVANE_API HTTPResponse {
public:
    HTTPResponse();
    HTTPResponse(const HTTPResponse&);
    virtual ~HTTPResponse();
    HTTPResponse& operator=(const HTTPResponse&);

    virtual unsigned long GetStatusCode() = 0;
    // The header's value, the name compared without regard to case; null if
    // the answer had no such header.
    virtual const wchar_t* GetHeader(const wchar_t* name) = 0;
    virtual const wchar_t* GetContentType() = 0;
    // The length of the body, whole; 0 if there is none.
    virtual unsigned long GetContentAvailable() = 0;
    // A copy of the body with a zero byte behind it, valid until the next
    // call or until the response goes; null if there is no body.
    virtual const unsigned char* GetContent() = 0;
};

class ORVANE_API MIBConnection : public virtual IDisposable {
public:
    MIBConnection();
    MIBConnection(const MIBConnection&);
    virtual ~MIBConnection();
    MIBConnection& operator=(const MIBConnection&);

    virtual unsigned long GetValue(const wchar_t* oid, VARIANT* out) = 0;
    virtual unsigned long GetNextValue(const wchar_t* oid, wchar_t* nextOidOut,
                                       unsigned long nextOidSize, VARIANT* out) = 0;
    virtual unsigned long SetValue(const wchar_t* oid, const VARIANT* value) = 0;
};

// An address on an IP address or host text; null on failure. The text is
// not looked at until a connection is opened.
ORVANE_API Address* CreateAddressFromIPAddress(const wchar_t* address);
// The address of the device behind a print port of this machine, such as
// L"USB001" or a standard TCP/IP port (anything from the first ":" on is
// ignored); null if none is found.
ORVANE_API Address* CreateAddressFromPortName(const wchar_t* portName);
// The address of the device behind a print queue of this machine; null if
// none is found.
ORVANE_API Address* CreateAddressFromQueueName(const wchar_t* queueName);

}  // namespace Orvane
