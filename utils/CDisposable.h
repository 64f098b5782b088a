#pragma once

#include <string>
#include <typeinfo>

#include "utils/IDisposable.h"

namespace QVUtils {

// The one reference counter behind both IDisposable interfaces. A new object
// has a count of 0: its maker takes the first reference with AddRef.
class CDisposable : public virtual ::IDisposable {
public:
    CDisposable() = default;
    CDisposable(const CDisposable&) = delete;
    CDisposable& operator=(const CDisposable&) = delete;
    virtual ~CDisposable();

    virtual unsigned long AddRefImpl();
    virtual unsigned long DisposeImpl();
    virtual void SetKeepAtZeroImpl(bool keep);
    virtual bool IsKeepAtZeroImpl() const;
    // Name of the object's dynamic type, not owned by the caller; null when
    // the class does not tell it.
    virtual const char* GetRuntimeTypeName() const = 0;

protected:
    // The type name as cached for count-change lines; filled on demand.
    const std::wstring& TypeName();

private:
    volatile long m_refCount = 0;
    bool m_keepAtZero = false;
    std::wstring m_typeName;
};

// Undecorated name of a type from its run-time type information, for
// GetRuntimeTypeName overrides. The text lives as long as the process.
const char* UndecoratedTypeName(const std::type_info& type);

}  // namespace QVUtils
