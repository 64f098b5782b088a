#pragma once

#include "utils/CProgress.h"

namespace QVUtils {

// Divides a caller's share of a parent's progress into steps: an inner
// operation reports 0..100 and the parent sees one smooth figure. The parent
// may be null; it is not owned.
class CProgressAggregator : public CProgress {
public:
    CProgressAggregator(IProgress* parent, unsigned long steps);
    ~CProgressAggregator() override;

    bool Step(unsigned long code, ...) override;
    using CProgress::Step;
    bool OnStep(double percent, unsigned long code, va_list args) override;
    virtual bool StepNext(unsigned long code, ...);
    virtual bool StepBy(unsigned long count, unsigned long code, ...);

private:
    bool Advance(unsigned long count, unsigned long code, va_list args);

    unsigned long m_ulStepsDone = 0;
    unsigned long m_ulSteps;
    IProgress* m_pParent;
};

}  // namespace QVUtils
