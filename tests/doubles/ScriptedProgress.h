#pragma once

#include <functional>
#include <vector>

#include "utils/CProgress.h"

namespace doubles {

// A progress receiver that records every report and answers with a script
// (go on by default).
class ScriptedProgress : public QVUtils::CProgress {
public:
    using Answer = std::function<bool(double percent, unsigned long code)>;

    explicit ScriptedProgress(Answer answer = nullptr) : m_answer(std::move(answer)) {}

    bool OnStep(double percent, unsigned long code, va_list) override
    {
        percents.push_back(percent);
        codes.push_back(code);
        return m_answer ? m_answer(percent, code) : true;
    }

    std::vector<double> percents;
    std::vector<unsigned long> codes;

private:
    Answer m_answer;
};

}  // namespace doubles
