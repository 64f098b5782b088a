#pragma once

#include <windows.h>

#include "BenchCase.h"

namespace bench {

// The reference of the trace scope: one wait on an uncontended named
// mutex and its release.
class NamedMutexCase : public BenchCase {
public:
    explicit NamedMutexCase(const std::string& id);
    ~NamedMutexCase() override;

    bool Begin() override;
    unsigned long long Step() override;
    void End() override;

private:
    HANDLE m_mutex = nullptr;
};

}  // namespace bench
