#pragma once

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace bench {

// The figures of one case's timed runs: median, smallest and largest, and
// the result line both bench programs print for the report.
class Samples {
public:
    void Add(double value) { m_values.push_back(value); }
    size_t Count() const { return m_values.size(); }

    double Median() const
    {
        std::vector<double> sorted = m_values;
        std::sort(sorted.begin(), sorted.end());
        const size_t n = sorted.size();
        if (n == 0) {
            return 0;
        }
        return n % 2 == 1 ? sorted[n / 2] : (sorted[n / 2 - 1] + sorted[n / 2]) / 2;
    }
    double Min() const { return m_values.empty() ? 0 : *std::min_element(m_values.begin(), m_values.end()); }
    double Max() const { return m_values.empty() ? 0 : *std::max_element(m_values.begin(), m_values.end()); }

    // "result <id> <median> <min> <max> <runs> <unit>", one line on stdout.
    void Print(const std::string& id, const std::string& unit) const
    {
        std::printf("result %s %.6g %.6g %.6g %zu %s\n", id.c_str(), Median(), Min(), Max(),
                    Count(), unit.c_str());
        std::fflush(stdout);
    }

private:
    std::vector<double> m_values;
};

}  // namespace bench
