#pragma once

#include <string>

#include "BenchCase.h"

namespace bench {

// One Resolver made, asked for a queue by its printer name, and let go: the
// whole of a resolution, thread and wait included.
class ResolveCase : public BenchCase {
public:
    ResolveCase(const std::string& id, std::wstring queue);

    bool Begin() override { return true; }
    unsigned long long Step() override;
    void End() override {}

private:
    std::wstring m_queue;
};

// The spooler's own listing of its queues, as a resolution asks for it:
// the size, then the records.
class EnumPrintersCase : public BenchCase {
public:
    explicit EnumPrintersCase(const std::string& id) : BenchCase(id, Unit::NanosecondsPerOp) {}

    bool Begin() override { return true; }
    unsigned long long Step() override;
    void End() override {}
};

// A thread started and waited for, as a resolution does once.
class ThreadStartCase : public BenchCase {
public:
    explicit ThreadStartCase(const std::string& id) : BenchCase(id, Unit::NanosecondsPerOp) {}

    bool Begin() override { return true; }
    unsigned long long Step() override;
    void End() override {}
};

}  // namespace bench
