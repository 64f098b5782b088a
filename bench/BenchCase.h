#pragma once

#include <string>

namespace bench {

// What a figure counts.
enum class Unit {
    MegabytesPerSecond,  // bytes moved, per second, in 10^6
    PerSecond,           // operations per second
    NanosecondsPerOp,    // time of one operation
};

// One measured operation, repeated: Begin prepares (connects, opens),
// Step does one operation and says how many bytes it moved (1 for an
// operation that moves none; 0 is a failure), End releases.
class BenchCase {
public:
    BenchCase(std::string id, Unit unit) : m_id(std::move(id)), m_unit(unit) {}
    virtual ~BenchCase() = default;
    BenchCase(const BenchCase&) = delete;
    BenchCase& operator=(const BenchCase&) = delete;

    virtual bool Begin() = 0;
    virtual unsigned long long Step() = 0;
    virtual void End() = 0;
    // Operations one Step does: more than 1 for operations so short that
    // reading the clock after each would weigh.
    virtual unsigned long OpsPerStep() const { return 1; }

    const std::string& Id() const { return m_id; }
    Unit GetUnit() const { return m_unit; }

private:
    std::string m_id;
    Unit m_unit;
};

}  // namespace bench
