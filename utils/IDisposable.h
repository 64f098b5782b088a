#pragma once

// Reference counting of the library's internal interfaces. The order of the
// pairs is the reverse of the public Orvane::IDisposable; both overloads of a
// pair reach the same counter (see IDisposableImpl).
class IDisposable {
public:
    virtual unsigned long Dispose() = 0;
    virtual unsigned long Dispose() const = 0;
    virtual unsigned long AddRef() = 0;
    virtual unsigned long AddRef() const = 0;
    virtual void SetKeepAtZero(bool keep) = 0;
    virtual bool IsKeepAtZero() const = 0;
};
