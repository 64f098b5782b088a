#pragma once

#include <memory>
#include <string>
#include <vector>

#include "BenchCase.h"

namespace bench {

// How long one run of a case lasts: until `bytes` have moved, or, with
// bytes 0, until `seconds` have passed.
struct RunLength {
    unsigned long long bytes;
    double seconds;
};

// A case of a group, with the operations it does in counting mode.
struct GroupEntry {
    std::unique_ptr<BenchCase> benchCase;
    unsigned long countOps;
};

// Runs a group of cases that are compared with each other: a warm-up run
// of each, then `runs` rounds in which each case runs once, so that a
// change in the machine's load falls on all of them alike; each case's
// runs are printed as median, min and max. In counting mode each case
// runs a fixed number of operations between two named markers instead,
// for the wineserver trace that counts round trips, and the allocations
// made in between are counted too.
class CaseRunner {
public:
    CaseRunner(int runs, bool counting) : m_runs(runs), m_counting(counting) {}

    // False when a case failed; the reason is on stderr.
    bool RunGroup(const std::vector<GroupEntry>& group, const RunLength& length);

private:
    // One run; its figure in the case's unit, or a negative value on failure.
    double TimedRun(BenchCase& benchCase, const RunLength& length);
    bool CountedRun(BenchCase& benchCase, unsigned long ops);

    int m_runs;
    bool m_counting;
};

}  // namespace bench
