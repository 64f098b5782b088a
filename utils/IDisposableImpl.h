#pragma once

#include "orvane64.h"
#include "utils/CDisposable.h"

// What a concrete class derives from beside its interface: both the public
// Orvane::IDisposable and the internal IDisposable land in CDisposable's
// single counter.
class IDisposableImpl : public QVUtils::CDisposable, public virtual Orvane::IDisposable {
public:
    unsigned long AddRef() override { return AddRefImpl(); }
    unsigned long AddRef() const override { return Self().AddRefImpl(); }
    unsigned long Dispose() override { return DisposeImpl(); }
    unsigned long Dispose() const override { return Self().DisposeImpl(); }
    void SetKeepAtZero(bool keep) override { SetKeepAtZeroImpl(keep); }
    bool IsKeepAtZero() const override { return IsKeepAtZeroImpl(); }
    const char* GetRuntimeTypeName() const override { return nullptr; }

private:
    // The count of an object held through a constant pointer still changes.
    IDisposableImpl& Self() const { return const_cast<IDisposableImpl&>(*this); }
};
