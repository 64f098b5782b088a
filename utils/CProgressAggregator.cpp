#include "utils/CProgressAggregator.h"

#include <algorithm>

namespace QVUtils {

CProgressAggregator::CProgressAggregator(IProgress* parent, unsigned long steps)
    : m_ulSteps(steps), m_pParent(parent)
{
    if (m_pParent) {
        m_ulInhibit = m_pParent->GetInhibit() > 0 ? 1 : 0;
    }
}

CProgressAggregator::~CProgressAggregator()
{
    // An operation that ends early still tells its parent its share is done.
    if (m_ulInhibit == 0 && m_bContinue && m_ulStepsDone < m_ulSteps && m_pParent) {
        va_list noArgs{};
        m_pParent->OnStep(100, 0, noArgs);
    }
}

bool CProgressAggregator::Step(unsigned long code, ...)
{
    if (m_bContinue && m_pParent) {
        va_list args;
        va_start(args, code);
        m_bContinue = m_pParent->OnStep(m_dPercent, code, args);
        va_end(args);
    }
    return m_bContinue;
}

bool CProgressAggregator::OnStep(double percent, unsigned long code, va_list args)
{
    if (m_bContinue && m_pParent) {
        // A finished inner step is not yet the next step of this one.
        percent = std::min(percent, 99.9);
        m_dPercent = (m_ulStepsDone + percent / 100) * 100 / m_ulSteps;
        m_bContinue = m_pParent->OnStep(m_dPercent, code, args);
    }
    return m_bContinue;
}

bool CProgressAggregator::StepNext(unsigned long code, ...)
{
    va_list args;
    va_start(args, code);
    const bool result = Advance(1, code, args);
    va_end(args);
    return result;
}

bool CProgressAggregator::StepBy(unsigned long count, unsigned long code, ...)
{
    va_list args;
    va_start(args, code);
    const bool result = Advance(count, code, args);
    va_end(args);
    return result;
}

bool CProgressAggregator::Advance(unsigned long count, unsigned long code, va_list args)
{
    if (m_bContinue) {
        if (m_ulInhibit == 0) {
            m_ulStepsDone += count;
        }
        OnStep(0, code, args);
    }
    return m_bContinue;
}

}  // namespace QVUtils
