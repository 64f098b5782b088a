#pragma once

#include <string>
#include <vector>

namespace bench {

// Print queues on USB ports in the bench prefix's spooler, made on demand
// and removed when the set goes. All share one driver.
class SpoolerQueueSet {
public:
    SpoolerQueueSet() = default;
    ~SpoolerQueueSet();
    SpoolerQueueSet(const SpoolerQueueSet&) = delete;
    SpoolerQueueSet& operator=(const SpoolerQueueSet&) = delete;

    // Adds queues until there are `count`; false when the spooler refuses.
    bool GrowTo(size_t count);
    // The name of the queue added last.
    const std::wstring& Last() const { return m_names.back(); }

private:
    std::vector<std::wstring> m_names;
};

}  // namespace bench
