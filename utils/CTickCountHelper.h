#pragma once

namespace QVUtils {

// A deadline in tick counts that survives the 32-bit wrap of the counter.
// A timeout of 0xFFFFFFFF means no limit.
class CTickCountHelper {
public:
    explicit CTickCountHelper(unsigned long timeout);
    CTickCountHelper(unsigned long timeout, unsigned long start);
    virtual ~CTickCountHelper() = default;

    bool IsInfinite() const { return m_bInfinite; }
    bool IsExpired() const;
    bool IsExpired(unsigned long now) const;
    unsigned long GetRemaining() const;
    unsigned long GetRemaining(unsigned long now) const;

private:
    unsigned long m_ulStart;
    unsigned long m_ulEnd = 0;
    bool m_bWrapped = false;
    bool m_bInfinite = false;
};

}  // namespace QVUtils
