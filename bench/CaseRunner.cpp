#include "CaseRunner.h"

#include <chrono>
#include <cstdio>

#include "AllocationCounter.h"
#include "RoundTripMarker.h"
#include "Samples.h"

namespace bench {

namespace {

const char* UnitText(Unit unit)
{
    switch (unit) {
    case Unit::MegabytesPerSecond:
        return "MB/s";
    case Unit::PerSecond:
        return "/s";
    default:
        return "ns";
    }
}

}  // namespace

bool CaseRunner::RunGroup(const std::vector<GroupEntry>& group, const RunLength& length)
{
    if (m_counting) {
        for (const GroupEntry& entry : group) {
            if (!CountedRun(*entry.benchCase, entry.countOps)) {
                return false;
            }
        }
        return true;
    }
    // The warm-up is a shorter run whose figure is dropped.
    const RunLength warmUp{length.bytes / 4, length.seconds / 4};
    for (const GroupEntry& entry : group) {
        if (TimedRun(*entry.benchCase, warmUp) < 0) {
            return false;
        }
    }
    std::vector<Samples> samples(group.size());
    for (int round = 0; round < m_runs; ++round) {
        for (size_t i = 0; i < group.size(); ++i) {
            const double figure = TimedRun(*group[i].benchCase, length);
            if (figure < 0) {
                return false;
            }
            samples[i].Add(figure);
        }
    }
    for (size_t i = 0; i < group.size(); ++i) {
        samples[i].Print(group[i].benchCase->Id(), UnitText(group[i].benchCase->GetUnit()));
    }
    return true;
}

double CaseRunner::TimedRun(BenchCase& benchCase, const RunLength& length)
{
    if (!benchCase.Begin()) {
        std::fprintf(stderr, "%s: could not begin\n", benchCase.Id().c_str());
        return -1;
    }
    using Clock = std::chrono::steady_clock;
    unsigned long long bytes = 0;
    unsigned long long ops = 0;
    const Clock::time_point start = Clock::now();
    double seconds = 0;
    for (;;) {
        const unsigned long long moved = benchCase.Step();
        if (moved == 0) {
            std::fprintf(stderr, "%s: operation %llu failed\n", benchCase.Id().c_str(), ops);
            benchCase.End();
            return -1;
        }
        bytes += moved;
        ++ops;
        // The clock is read every operation: its cost (a few ns) is part
        // of every case alike.
        seconds = std::chrono::duration<double>(Clock::now() - start).count();
        if (length.bytes != 0 ? bytes >= length.bytes : seconds >= length.seconds) {
            break;
        }
    }
    benchCase.End();
    switch (benchCase.GetUnit()) {
    case Unit::MegabytesPerSecond:
        return bytes / seconds / 1e6;
    case Unit::PerSecond:
        return ops * benchCase.OpsPerStep() / seconds;
    default:
        return seconds * 1e9 / (ops * benchCase.OpsPerStep());
    }
}

bool CaseRunner::CountedRun(BenchCase& benchCase, unsigned long ops)
{
    if (!benchCase.Begin()) {
        std::fprintf(stderr, "%s: could not begin\n", benchCase.Id().c_str());
        return false;
    }
    bool ok = true;
    unsigned long long allocations = 0;
    {
        RoundTripMarker marker(benchCase.Id());
        const unsigned long long before = AllocationCount();
        for (unsigned long i = 0; i < ops / benchCase.OpsPerStep() && ok; ++i) {
            ok = benchCase.Step() != 0;
        }
        allocations = AllocationCount() - before;
        marker.End();
    }
    benchCase.End();
    if (ok) {
        std::printf("ops %s %lu\n", benchCase.Id().c_str(), ops);
        std::printf("allocs %s %llu\n", benchCase.Id().c_str(), allocations);
        std::fflush(stdout);
    }
    return ok;
}

}  // namespace bench
